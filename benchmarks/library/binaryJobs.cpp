// A map and a list of strings to and from their binary forms, in memory that the caller provides, and small
// records through the memory stream: written by hand and done by ours. By hand is for little-endian machines.

#include "jobs.h"
#include "zusl_List.h"
#include "zusl_Map.h"
#include "zusl_MemIOStream.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using Bytes = std::vector<unsigned char>;
using From = const unsigned char*;

unsigned char* put32(unsigned char* to, size_t number) {
    const auto stored = static_cast<std::uint32_t>(number);
    std::memcpy(to, &stored, sizeof stored);
    return to + sizeof stored;
}

std::uint32_t load32(From from) {
    std::uint32_t number;
    std::memcpy(&number, from, sizeof number);
    return number;
}

// --- A text by hand: its length, its bytes, and a zero byte that ends it for readers ---

size_t length(const std::string& text) {
    return text.size() + 5;
}

unsigned char* put(unsigned char* to, const std::string& text) {
    std::memcpy(put32(to, text.size()), text.c_str(), text.size() + 1);
    return to + length(text);
}

std::string takeText(From& from, From end) {
    const char* const text = reinterpret_cast<const char*>(from + 4);
    require(end - from > 4, "by hand: no text");
    const void* const zero = std::memchr(text, 0, static_cast<size_t>(end - from) - 4);
    require(zero != nullptr, "by hand: no text");
    from = static_cast<From>(zero) + 1;
    return std::string(text, static_cast<const char*>(zero));
}

// --- The map by hand ---

size_t length(const PlainMap& map) {
    size_t total = 4;
    for (const auto& [key, value] : map)
        total += length(key) + length(value);
    return total;
}

void write(const PlainMap& map, Bytes& bytes) {
    require(length(map) <= bytes.size(), "by hand: another length");
    unsigned char* to = put32(bytes.data(), map.size());
    for (const auto& [key, value] : map)
        to = put(put(to, key), value);
}

void read(PlainMap& map, From from, From end) {
    const std::uint32_t count = load32(from);
    from += 4;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string key = takeText(from, end);
        map.emplace_hint(map.end(), std::move(key), takeText(from, end));
    }
}

// --- Records and the list by hand: type id, length of the payload, payload ---

constexpr unsigned int integerId = 504;
constexpr unsigned int stringId = 501;
constexpr size_t headerSize = 8;

unsigned char* putHeader(unsigned char* to, unsigned int id, size_t payload) {
    return put32(put32(to, id), payload);
}

// Returns the payload of the next record and moves `from` to its end.
From takeRecord(From& from, From end, unsigned int id) {
    require(end - from >= static_cast<std::ptrdiff_t>(headerSize), "by hand: no record");
    require((load32(from) & 0xFFFFU) == id, "by hand: another type");
    const size_t payload = load32(from + 4);
    require(payload <= static_cast<size_t>(end - from) - headerSize, "by hand: no record");
    From const start = from + headerSize;
    from = start + payload;
    return start;
}

size_t length(const PlainList& list) {
    size_t total = 4 + 2 * (headerSize + 4);
    for (const std::string& text : list)
        total += headerSize + length(text);
    return total;
}

void write(const PlainList& list, Bytes& bytes) {
    require(length(list) <= bytes.size(), "by hand: another length");
    unsigned char* to = put32(bytes.data(), bytes.size() - 4);
    for (const size_t number : {static_cast<size_t>(stringId), list.size()})
        to = put32(putHeader(to, integerId, 4), number);
    for (const std::string& text : list)
        to = put(putHeader(to, stringId, length(text)), text);
}

void read(PlainList& list, From from, From end) {
    from += 4;
    require(load32(takeRecord(from, end, integerId)) == stringId, "by hand: other elements");
    const std::uint32_t count = load32(takeRecord(from, end, integerId));
    for (std::uint32_t i = 0; i < count; ++i) {
        From payload = takeRecord(from, end, stringId);
        list.push_back(takeText(payload, from));
    }
}

// --- Both containers, by hand and ours ---

template <typename Ours>
void write(const Ours& container, Bytes& bytes) {
    require(container.getBinLength() <= bytes.size(), "ours: another length");
    container.toBin(bytes.data());
}

template <typename Ours>
void read(Ours& container, From from, From end) {
    container.fromBin(from, static_cast<unsigned int>(end - from));
}

template <typename Container>
const Bytes& add(Contenders& all, const std::string& name, const char* contender, const Container& container,
                 size_t length) {
    static Bytes bytes(length);
    const auto load = [] {
        Container loaded;
        read(loaded, bytes.data(), bytes.data() + bytes.size());
        return loaded;
    };
    write(container, bytes);
    require(load() == container, name + ": another content");
    all.push_back({name + " to binary", contender, [&] { write(container, bytes); }});
    all.push_back({name + " from binary", contender, [=] { keep(load()); }});
    return bytes;
}

template <typename Plain, typename Ours>
void addBoth(Contenders& all, const std::string& name, const Plain& plain, const Ours& container) {
    const Bytes& expected = add(all, name, byHand, plain, length(plain));
    require(add(all, name, ours, container, container.getBinLength()) == expected, name + ": ours differs");
}

// --- The stream by hand: a growing buffer ---

class Stream {
public:
    void write(const zusl::Serializable& object) {
        const size_t size = headerSize + object.getBinLength();
        if (capacity - used < size) {
            capacity = 2 * capacity + size;
            memory = static_cast<unsigned char*>(std::realloc(memory, capacity));
        }
        object.toBin(putHeader(memory + used, object.getTypeId(), size - headerSize));
        used += size;
    }

    void read(zusl::Serializable& object) {
        From from = memory + position;
        From const payload = takeRecord(from, memory + used, object.getTypeId());
        object.fromBin(payload, static_cast<unsigned int>(from - payload));
        position = static_cast<size_t>(from - memory);
    }

    void clear() { used = position = 0; }

private:
    unsigned char* memory = nullptr; // never freed: the stream lives to the end
    size_t capacity = 0;
    size_t used = 0;
    size_t position = 0;
};

// The loops know the objects by their interface only.
template <typename AnyStream>
void addRecordJobs(Contenders& all, const char* contender) {
    static AnyStream stream;
    static zutl::Integer received;
    static std::vector<zusl::Serializable*> receivers(records, &received);
    static std::vector<std::unique_ptr<zusl::Serializable>> sources;
    for (int i = 0; i < records; ++i)
        sources.push_back(std::make_unique<zutl::Integer>(i));
    const auto write = [] {
        stream.clear();
        for (const auto& source : sources)
            stream.write(*source);
    };
    const auto read = [] {
        for (zusl::Serializable* const receiver : receivers)
            stream.read(*receiver);
    };
    write();
    read();
    require(received == records - 1, std::string("records: ") + contender);
    all.push_back({"100 000 numbers as records, write", contender, write});
    all.push_back({"100 000 numbers as records, read", contender, read, write});
}

} // namespace

void addBinaryJobs(Contenders& all) {
    static const zusl::List<zutl::String> list(plainList.begin(), plainList.end());
    static zusl::StringMap<zutl::String> map;
    for (const auto& [name, value] : plainMap)
        map.insert(name, value);
    addBoth(all, "map of 10 000 strings", plainMap, map);
    addBoth(all, "list of 10 000 strings", plainList, list);
    addRecordJobs<Stream>(all, byHand);
    addRecordJobs<zusl::MemIOStream>(all, ours);
}
