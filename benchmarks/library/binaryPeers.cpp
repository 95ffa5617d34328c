// Other libraries turning objects into bytes, each in its own binary form. All write into memory that is
// there already, as ours does, and know what comes next when they read.

#include "jobs.h"

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/interprocess/streams/bufferstream.hpp>
#include <boost/serialization/list.hpp>
#include <boost/serialization/map.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/list.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>
#include <msgpack.hpp>

#include <algorithm>

namespace {

using Bytes = std::vector<char>;

struct Msgpack {
    static constexpr const char* name = "msgpack";
    struct Writer {
        explicit Writer(Bytes& bytes) : to(bytes.data()) {}
        void write(const char* data, size_t size) { to = std::copy_n(data, size, to); }
        template <typename T>
        void operator()(const T& object) {
            msgpack::pack(*this, object);
        }
        char* to;
    };
    struct Reader {
        explicit Reader(Bytes& source) : bytes(source) {}
        template <typename T>
        void operator()(T& object) {
            msgpack::unpack(bytes.data(), bytes.size()).get().convert(object);
        }
        Bytes& bytes;
    };
};

// An archive on a standard stream whose buffer is the bytes.
template <typename Archive, unsigned int... flags>
struct OnStream {
    explicit OnStream(Bytes& bytes)
        : stream(bytes.data(), bytes.size()), archive(static_cast<std::iostream&>(stream), flags...) {}
    template <typename T>
    void operator()(T&& object) {
        archive& object;
    }
    boost::interprocess::bufferstream stream;
    Archive archive;
};

struct Cereal {
    static constexpr const char* name = "cereal";
    using Writer = OnStream<cereal::BinaryOutputArchive>;
    using Reader = OnStream<cereal::BinaryInputArchive>;
};

struct Boost {
    static constexpr const char* name = "Boost.Serialization";
    static constexpr unsigned int flags = boost::archive::no_header | boost::archive::no_codecvt;
    using Writer = OnStream<boost::archive::binary_oarchive, flags>;
    using Reader = OnStream<boost::archive::binary_iarchive, flags>;
};

template <typename Library, typename Container>
void addContainer(Contenders& all, const std::string& job, const Container& container) {
    static Bytes bytes(2 << 20);
    const auto save = [&container] { typename Library::Writer{bytes}(container); };
    const auto load = [] {
        Container loaded; // a new one: some of the libraries would use the old elements again
        typename Library::Reader{bytes}(loaded);
        return loaded;
    };
    save();
    require(load() == container, Library::name);
    all.push_back({job + " to binary", Library::name, save});
    all.push_back({job + " from binary", Library::name, [=] { keep(load()); }});
}

template <typename Library>
void addPeer(Contenders& all) {
    addContainer<Library>(all, "map of 10 000 strings", plainMap);
    addContainer<Library>(all, "list of 10 000 strings", plainList);
}

} // namespace

void addBinaryPeers(Contenders& all) {
    addPeer<Msgpack>(all);
    addPeer<Cereal>(all);
    addPeer<Boost>(all);
}
