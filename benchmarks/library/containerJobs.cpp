// A map and a list of 10 000 strings to and from their binary forms, in memory that the caller provides.

#include "binaryPeers.h"
#include "byteOrder.h"
#include "inputs.h"
#include "jobs.h"
#include "virtualText.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <cstring>
#include <list>
#include <map>
#include <memory>

namespace {

constexpr size_t elements = 10000;

using Bytes = std::vector<unsigned char>;
template <typename Text>
using MapOf = std::map<Text, Text>;

// --- Strings by hand: the length, the text, a zero byte by which a reader goes. ---

size_t length(const std::string& text) {
    return 4 + text.size() + 1;
}

unsigned char* write(unsigned char* to, const std::string& text) {
    byhand::store32(to, static_cast<std::uint32_t>(text.size()));
    std::memcpy(to + 4, text.c_str(), text.size() + 1);
    return to + length(text);
}

const unsigned char* endOfText(const unsigned char* text, const unsigned char* end) {
    const void* const zero = text < end ? std::memchr(text, 0, static_cast<size_t>(end - text)) : nullptr;
    bench::require(zero != nullptr, "by hand: no text");
    return static_cast<const unsigned char*>(zero);
}

template <typename Text>
Text readText(const unsigned char*& from, const unsigned char* end) {
    const unsigned char* const text = from + 4;
    const unsigned char* const zero = endOfText(text, end);
    from = zero + 1;
    return Text(reinterpret_cast<const char*>(text), static_cast<size_t>(zero - text));
}

// --- The map by hand ---

template <typename Text>
size_t length(const MapOf<Text>& map) {
    size_t total = 4;
    for (const auto& [key, value] : map)
        total += length(key) + length(value);
    return total;
}

template <typename Text>
void write(const MapOf<Text>& map, unsigned char* to, size_t /*size*/) {
    byhand::store32(to, static_cast<std::uint32_t>(map.size()));
    to += 4;
    for (const auto& [key, value] : map)
        to = write(write(to, key), value);
}

template <typename Text>
void read(MapOf<Text>& map, const unsigned char* from, size_t size) {
    map.clear();
    const unsigned char* const end = from + size;
    std::uint32_t count = byhand::load32(from);
    from += 4;
    while (count-- > 0) {
        Text key = readText<Text>(from, end);
        map.emplace_hint(map.end(), std::move(key), readText<Text>(from, end));
    }
}

// --- The list by hand: records behind the size of them all ---

constexpr unsigned int integerId = 504;
constexpr unsigned int stringId = 501;
constexpr size_t headerSize = 8;
constexpr size_t integerRecord = headerSize + 4;

unsigned char* writeHeader(unsigned char* to, unsigned int id, size_t payload) {
    byhand::store32(to, id);
    byhand::store32(to + 4, static_cast<std::uint32_t>(payload));
    return to + headerSize;
}

unsigned char* writeInteger(unsigned char* to, size_t number) {
    to = writeHeader(to, integerId, 4);
    byhand::store32(to, static_cast<std::uint32_t>(number));
    return to + 4;
}

template <typename Text>
size_t length(const std::list<Text>& list) {
    size_t total = 4 + 2 * integerRecord;
    for (const Text& text : list)
        total += headerSize + length(text);
    return total;
}

template <typename Text>
void write(const std::list<Text>& list, unsigned char* to, size_t size) {
    byhand::store32(to, static_cast<std::uint32_t>(size - 4));
    to = writeInteger(writeInteger(to + 4, stringId), list.size());
    for (const Text& text : list)
        to = write(writeHeader(to, stringId, length(text)), text);
}

// The payload of the next record, which must be of the type and lie before the end.
const unsigned char* nextRecord(const unsigned char*& from, const unsigned char* end, unsigned int id) {
    bench::require(end - from >= static_cast<std::ptrdiff_t>(headerSize) && byhand::load16(from) == id,
                   "by hand: another type");
    const size_t payload = byhand::load32(from + 4);
    bench::require(payload <= static_cast<size_t>(end - from) - headerSize, "by hand: no record");
    const unsigned char* const start = from + headerSize;
    from = start + payload;
    return start;
}

template <typename Text>
void read(std::list<Text>& list, const unsigned char* from, size_t size) {
    list.clear();
    bench::require(byhand::load32(from) == size - 4, "by hand: another size");
    const unsigned char* const end = from + size;
    from += 4;
    bench::require(byhand::load32(nextRecord(from, end, integerId)) == stringId, "by hand: other elements");
    std::uint32_t count = byhand::load32(nextRecord(from, end, integerId));
    while (count-- > 0) {
        const unsigned char* payload = nextRecord(from, end, stringId);
        list.push_back(readText<Text>(payload, from));
    }
}

// --- The jobs ---

template <typename Container>
void writeWithOurs(const Container& container, Bytes& bytes) {
    bench::require(container.getBinLength() <= bytes.size(), "binary form: another length");
    container.toBin(bytes.data());
}

template <typename Plain>
void writeByHand(const Plain& container, Bytes& bytes) {
    const size_t size = length(container);
    bench::require(size <= bytes.size(), "by hand: another length");
    write(container, bytes.data(), size);
}

// A library's way of writing and reading the container in its own form.
template <typename Library, typename Plain>
void addPeer(const std::shared_ptr<const Plain>& plain, bench::Job& writing, bench::Job& reading) {
    const auto bytes = std::make_shared<Bytes>(2 * length(*plain));
    const auto save = [=] { typename Library::Writer(*bytes).put(*plain); };
    const auto load = [=] {
        Plain container;
        typename Library::Reader(*bytes).get(container);
        return container;
    };
    save();
    bench::require(load() == *plain, std::string("binary form: differs: ") + Library::name);
    writing.contenders.push_back({Library::name, save, {}});
    reading.contenders.push_back({Library::name, load, {}});
}

template <typename Ours, typename Plain, typename WithTables>
void addJobsFor(Jobs& jobs, const std::string& what, const Ours& ours, const Plain& byHand,
                const WithTables& withTables, double writeTarget, double readTarget) {
    const auto object = std::make_shared<const Ours>(ours);
    const auto plain = std::make_shared<const Plain>(byHand);
    const auto virtualTexts = std::make_shared<const WithTables>(withTables);
    const auto bytes = std::make_shared<Bytes>(object->getBinLength());
    const auto plainBytes = std::make_shared<Bytes>(length(*plain));
    writeWithOurs(*object, *bytes);
    writeByHand(*plain, *plainBytes);
    bench::require(*bytes == *plainBytes, what + " to binary: ours differs");
    // Always into a new container: some of the libraries would use the old elements again.
    const auto readPlain = [=] {
        Plain container;
        read(container, bytes->data(), bytes->size());
        return container;
    };
    const auto readVirtualTexts = [=] {
        WithTables container;
        read(container, bytes->data(), bytes->size());
        return container;
    };
    const auto readOurs = [=] {
        Ours container;
        container.fromBin(bytes->data(), static_cast<unsigned int>(bytes->size()));
        return container;
    };
    bench::require(readPlain() == *plain && readOurs() == *object, what + " from binary: ours differs");

    bench::Job writing{what + " to binary",
                       "element",
                       static_cast<double>(plain->size()),
                       writeTarget,
                       "the length, then copy",
                       {{bench::byHand, [=] { writeByHand(*plain, *plainBytes); }, {}},
                        {bench::ours, [=] { writeWithOurs(*object, *bytes); }, {}}}};
    bench::Job reading{what + " from binary",
                       "element",
                       static_cast<double>(plain->size()),
                       readTarget,
                       "one pass into the container",
                       {{bench::byHand, readPlain, {}}, {bench::ours, readOurs, {}}}};
    writing.contenders.push_back(
        {byhand::withVirtualTexts, [=] { writeByHand(*virtualTexts, *plainBytes); }, {}});
    reading.contenders.push_back({byhand::withVirtualTexts, readVirtualTexts, {}});
    addPeer<peers::Msgpack>(plain, writing, reading);
    addPeer<peers::Cereal>(plain, writing, reading);
    addPeer<peers::Boost>(plain, writing, reading);
    jobs.push_back(writing);
    jobs.push_back(reading);
}

} // namespace

void addContainerJobs(Jobs& jobs) {
    zusl::StringMap<zutl::String> map;
    zusl::List<zutl::String> list;
    MapOf<std::string> plainMap;
    std::list<std::string> plainList;
    MapOf<byhand::VirtualText> mapWithTables;
    std::list<byhand::VirtualText> listWithTables;
    for (const auto& [name, value] : bench::settings(elements)) {
        map.insert(name, value);
        list.push_back(value);
        plainMap.emplace(name, value);
        plainList.push_back(value);
        mapWithTables.emplace(name.c_str(), value.c_str());
        listWithTables.emplace_back(value.c_str());
    }
    addJobsFor(jobs, "map of 10 000 strings", map, plainMap, mapWithTables, 1.0, 1.15);
    addJobsFor(jobs, "list of 10 000 strings", list, plainList, listWithTables, 1.5, 1.15);
}
