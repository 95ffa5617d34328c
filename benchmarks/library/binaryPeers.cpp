// Other libraries turning objects into bytes, each in its own binary form. All write into memory that is
// there already, as ours does, and know what comes next when they read.

#include "jobs.h"

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>
#include <msgpack.hpp>

#include <cstring>
#include <istream>
#include <ostream>
#include <streambuf>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// The bytes as what a standard stream reads from or writes to.
class MemoryBuffer : public std::streambuf {
public:
    explicit MemoryBuffer(Bytes& bytes) {
        char* const start = reinterpret_cast<char*>(bytes.data());
        setp(start, start + bytes.size());
        setg(start, start, start + bytes.size());
    }
};

struct Msgpack {
    static constexpr const char* name = "msgpack";

    class Writer {
    public:
        explicit Writer(Bytes& bytes) : sink{bytes.data()}, packer(sink) {}
        template <typename T>
        void put(const T& object) {
            packer.pack(object);
        }

    private:
        struct Sink {
            unsigned char* to;
            void write(const char* data, size_t size) {
                std::memcpy(to, data, size);
                to += size;
            }
        };
        Sink sink;
        msgpack::packer<Sink> packer;
    };

    class Reader {
    public:
        explicit Reader(Bytes& source) : bytes(source) {}
        template <typename T>
        void get(T& object) {
            msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size(), offset)
                .get()
                .convert(object);
        }

    private:
        const Bytes& bytes;
        size_t offset = 0;
    };
};

struct Cereal {
    static constexpr const char* name = "cereal";

    class Writer {
    public:
        explicit Writer(Bytes& bytes) : buffer(bytes), stream(&buffer), archive(stream) {}
        template <typename T>
        void put(const T& object) {
            archive(object);
        }

    private:
        MemoryBuffer buffer;
        std::ostream stream;
        cereal::BinaryOutputArchive archive;
    };

    class Reader {
    public:
        explicit Reader(Bytes& bytes) : buffer(bytes), stream(&buffer), archive(stream) {}
        template <typename T>
        void get(T& object) {
            archive(object);
        }

    private:
        MemoryBuffer buffer;
        std::istream stream;
        cereal::BinaryInputArchive archive;
    };
};

struct Boost {
    static constexpr const char* name = "Boost.Serialization";
    static constexpr unsigned int flags = boost::archive::no_header | boost::archive::no_codecvt;

    class Writer {
    public:
        explicit Writer(Bytes& bytes) : buffer(bytes), archive(buffer, flags) {}
        template <typename T>
        void put(const T& object) {
            archive << object;
        }

    private:
        MemoryBuffer buffer;
        boost::archive::binary_oarchive archive;
    };

    class Reader {
    public:
        explicit Reader(Bytes& bytes) : buffer(bytes), archive(buffer, flags) {}
        template <typename T>
        void get(T& object) {
            archive >> object;
        }

    private:
        MemoryBuffer buffer;
        boost::archive::binary_iarchive archive;
    };
};

template <typename Library>
void addPeer(bench::Jobs& jobs) {
    static Bytes mapBytes(2 << 20);
    static Bytes recordBytes(bench::records * 16);
    static std::int32_t number = 0;
    const auto saveMap = [] { typename Library::Writer(mapBytes).put(bench::plainMap()); };
    const auto loadMap = [] {
        bench::PlainMap map; // a new one: some of the libraries would use the old elements again
        typename Library::Reader(mapBytes).get(map);
        return map;
    };
    const auto saveRecords = [] {
        typename Library::Writer writer(recordBytes);
        for (std::int32_t i = 0; i < bench::records; ++i)
            writer.put(i);
    };
    const auto loadRecords = [] {
        typename Library::Reader reader(recordBytes);
        for (int i = 0; i < bench::records; ++i)
            reader.get(number);
    };
    saveMap();
    bench::require(loadMap() == bench::plainMap(), Library::name);
    saveRecords();
    loadRecords();
    bench::require(number == bench::records - 1, Library::name);
    addContender(jobs, bench::mapWriteJob, {Library::name, saveMap, {}});
    addContender(jobs, bench::mapReadJob, {Library::name, [=] { bench::keep(loadMap()); }, {}});
    addContender(jobs, bench::recordWriteJob, {Library::name, saveRecords, {}});
    addContender(jobs, bench::recordReadJob, {Library::name, loadRecords, {}});
}

} // namespace

void bench::addBinaryPeers(Jobs& jobs) {
    addPeer<Msgpack>(jobs);
    addPeer<Cereal>(jobs);
    addPeer<Boost>(jobs);
}
