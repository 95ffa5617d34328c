// A map of strings to and from its binary form, in memory that the caller provides, and small records through
// the memory stream: written by hand and done by ours.

#include "jobs.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <cstdint>
#include <cstring>
#include <memory>

namespace bench {

namespace {

using Bytes = std::vector<unsigned char>;
using OurMap = zusl::StringMap<zutl::String>;

void store32(unsigned char* to, std::uint32_t number) {
    to[0] = static_cast<unsigned char>(number);
    to[1] = static_cast<unsigned char>(number >> 8);
    to[2] = static_cast<unsigned char>(number >> 16);
    to[3] = static_cast<unsigned char>(number >> 24);
}

std::uint32_t load32(const unsigned char* from) {
    return from[0] | static_cast<std::uint32_t>(from[1]) << 8 | static_cast<std::uint32_t>(from[2]) << 16 |
           static_cast<std::uint32_t>(from[3]) << 24;
}

// --- The map by hand: of each text its length, its bytes, and a zero byte that ends it for readers ---

size_t length(const PlainMap& map) {
    size_t total = 4;
    for (const auto& [key, value] : map)
        total += key.size() + value.size() + 2 * 5;
    return total;
}

unsigned char* write(unsigned char* to, const std::string& text) {
    store32(to, static_cast<std::uint32_t>(text.size()));
    std::memcpy(to + 4, text.c_str(), text.size() + 1);
    return to + text.size() + 5;
}

void writeByHand(const PlainMap& map, Bytes& bytes) {
    require(length(map) <= bytes.size(), "by hand: another length");
    unsigned char* to = bytes.data();
    store32(to, static_cast<std::uint32_t>(map.size()));
    to += 4;
    for (const auto& [key, value] : map)
        to = write(write(to, key), value);
}

std::string readText(const unsigned char*& from, const unsigned char* end) {
    const char* const text = reinterpret_cast<const char*>(from + 4);
    const void* const zero =
        end - from > 4 ? std::memchr(text, 0, static_cast<size_t>(end - from) - 4) : nullptr;
    require(zero != nullptr, "by hand: no text");
    from = static_cast<const unsigned char*>(zero) + 1;
    return std::string(text, static_cast<const char*>(zero));
}

PlainMap readByHand(const Bytes& bytes) {
    PlainMap map;
    const unsigned char* from = bytes.data();
    const unsigned char* const end = from + bytes.size();
    std::uint32_t count = load32(from);
    from += 4;
    while (count-- > 0) {
        std::string key = readText(from, end);
        map.emplace_hint(map.end(), std::move(key), readText(from, end));
    }
    return map;
}

// --- The map by ours ---

void writeOurs(const OurMap& map, Bytes& bytes) {
    require(map.getBinLength() <= bytes.size(), "binary form: another length");
    map.toBin(bytes.data());
}

OurMap readOurs(const Bytes& bytes) {
    OurMap map;
    map.fromBin(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return map;
}

void addMapJobs(Jobs& jobs) {
    static const OurMap map = [] {
        OurMap copy;
        for (const auto& [name, value] : plainMap())
            copy.insert(name, value);
        return copy;
    }();
    static Bytes plainBytes(length(plainMap()));
    static Bytes bytes(map.getBinLength());
    writeByHand(plainMap(), plainBytes);
    writeOurs(map, bytes);
    require(bytes == plainBytes, "map to binary: ours differs");
    require(readByHand(bytes) == plainMap() && readOurs(bytes) == map, "map from binary: ours differs");
    const double elements = static_cast<double>(plainMap().size());
    jobs.push_back({mapWriteJob,
                    elements,
                    {{byHand, [] { writeByHand(plainMap(), plainBytes); }, {}},
                     {ours, [] { writeOurs(map, bytes); }, {}}}});
    jobs.push_back(
        {mapReadJob,
         elements,
         {{byHand, [] { keep(readByHand(bytes)); }, {}}, {ours, [] { keep(readOurs(bytes)); }, {}}}});
}

// --- Records by hand: a growing buffer, and objects with the same kind of interface as ours ---

class Object {
public:
    virtual ~Object() = default;
    virtual unsigned int typeId() const = 0;
    virtual unsigned int length() const = 0;
    virtual unsigned int write(unsigned char* to) const = 0;
    virtual unsigned int read(const unsigned char* from, unsigned int size) = 0;
};

class Number : public Object {
public:
    explicit Number(std::int32_t number = 0) : value(number) {}
    unsigned int typeId() const override { return 504; }
    unsigned int length() const override { return 4; }
    unsigned int write(unsigned char* to) const override {
        store32(to, static_cast<std::uint32_t>(value));
        return 4;
    }
    unsigned int read(const unsigned char* from, unsigned int size) override {
        require(size >= 4, "by hand: no number");
        value = static_cast<std::int32_t>(load32(from));
        return 4;
    }

    std::int32_t value;
};

class Stream {
public:
    void write(const Object& object) {
        const unsigned int payload = object.length();
        if (capacity - used < headerSize + payload)
            grow(headerSize + payload);
        unsigned char* const to = memory.get() + used;
        store32(to, object.typeId());
        store32(to + 4, payload);
        object.write(to + headerSize);
        used += headerSize + payload;
    }

    void read(Object& object) {
        const unsigned char* const from = memory.get() + position;
        require(used - position >= headerSize &&
                    (from[0] | from[1] << 8) == static_cast<int>(object.typeId()),
                "by hand: another type");
        const unsigned int payload = load32(from + 4);
        require(payload <= used - position - headerSize, "by hand: no record");
        object.read(from + headerSize, payload);
        position += headerSize + payload;
    }

    void clear() { used = position = 0; }
    void rewind() { position = 0; }
    Bytes content() const { return Bytes(memory.get(), memory.get() + used); }

private:
    static constexpr size_t headerSize = 8;

    void grow(size_t needed) {
        const size_t newCapacity = 2 * capacity + needed;
        std::unique_ptr<unsigned char[]> larger(new unsigned char[newCapacity]);
        if (used > 0)
            std::memcpy(larger.get(), memory.get(), used);
        memory = std::move(larger);
        capacity = newCapacity;
    }

    std::unique_ptr<unsigned char[]> memory;
    size_t capacity = 0;
    size_t used = 0;
    size_t position = 0;
};

// What is written and read; the loops know only the objects' interface.
template <typename Interface, typename NumberType>
struct Objects {
    Objects() {
        for (int i = 0; i < records; ++i)
            sources.push_back(std::make_unique<NumberType>(i));
        receivers.assign(sources.size(), &received);
    }

    std::vector<std::unique_ptr<Interface>> sources;
    NumberType received;
    std::vector<Interface*> receivers;
};

template <typename AnyStream, typename AnyObjects>
void writeAll(AnyStream& stream, const AnyObjects& objects) {
    stream.clear();
    for (const auto& object : objects.sources)
        stream.write(*object);
}

template <typename AnyStream, typename AnyObjects>
void readAll(AnyStream& stream, AnyObjects& objects) {
    for (auto* const receiver : objects.receivers)
        stream.read(*receiver);
}

void addRecordJobs(Jobs& jobs) {
    static Objects<Object, Number> plainObjects;
    static Objects<zusl::Serializable, zutl::Integer> objects;
    static Stream plainStream;
    static zusl::MemIOStream stream;
    writeAll(plainStream, plainObjects);
    writeAll(stream, objects);
    const unsigned char* data = nullptr;
    unsigned int size = 0;
    stream.getBuffer(data, size);
    static const Bytes bytes(data, data + size);
    require(bytes == plainStream.content(), "records, write: ours differs");
    readAll(plainStream, plainObjects);
    readAll(stream, objects);
    require(stream.isEmpty() && objects.received == records - 1 && plainObjects.received.value == records - 1,
            "records, read: ours differs");

    const auto refill = [] { stream.setBuffer(bytes.data(), static_cast<unsigned int>(bytes.size())); };
    jobs.push_back({recordWriteJob,
                    records,
                    {{byHand, [] { writeAll(plainStream, plainObjects); }, {}},
                     {ours, [] { writeAll(stream, objects); }, {}}}});
    jobs.push_back(
        {recordReadJob,
         records,
         {{byHand, [] { readAll(plainStream, plainObjects); }, [] { writeAll(plainStream, plainObjects); }},
          {ours, [] { readAll(stream, objects); }, refill}}});
}

} // namespace

void addBinaryJobs(Jobs& jobs) {
    addMapJobs(jobs);
    addRecordJobs(jobs);
}

} // namespace bench
