// Fuzzes the readers of serialized objects.

#include "fuzzing.h"
#include "zusl_List.h"
#include "zusl_Map.h"

// Accepted bytes are written back the same from `sameFrom` on; what is written reads back equal.
template <typename T, size_t sameFrom = Text::npos>
static void check(const Text& bytes) {
    T object, again;
    unsigned int taken = 0;
    const Text refusal = thrown([&] { taken = fromBytes(object, bytes); });
    const Text encoded = toBytes(object);
    if (!refusal.empty())
        return require(refusal == fromBinFailed || refusal.find("memory is not valid.") != Text::npos);
    require(taken <= bytes.size());
    if (sameFrom != Text::npos)
        require(encoded.substr(sameFrom) == bytes.substr(sameFrom, taken - sameFrom));
    // Bytes after an object are ignored, and no beginning of an object is one.
    for (const Text& more : {Text(), bytes})
        require(fromBytes(again, encoded + more) == encoded.size() && toBytes(again) == encoded);
    require(thrown([&] { fromBytes(again, encoded.substr(0, bytes.size() % encoded.size())); }) ==
            fromBinFailed);
}

// Content that may not be whole records is never read beyond its end.
static void readRaw(const Text& bytes) {
    zusl::MemIOStream stream;
    zutl::String text;
    const bool isWhole = thrown([&] { fromBytes(stream, toBytes(zutl::String(bytes))); }).empty();
    do {
        thrown([&] { stream.peek(3, &text, nullptr, &text); });
        thrown([&] { stream.checkTypes(3, nullptr, &text, nullptr); });
        require(stream.validate() == isWhole && (stream.count() > 0 || stream.size() < 8));
    } while (thrown([&] { stream.read(text); }).empty() || thrown([&] { stream.skip(); }).empty());
    require(stream.isEmpty() == isWhole);
}

void fuzz(FuzzedDataProvider& input) {
    const auto reader = input.PickValueInArray(
        {check<zutl::Integer, 0>, check<zutl::String, 4>, check<zusl::StringMap<zutl::String>>,
         check<zusl::MemIOStream, 0>, check<zusl::List<zutl::String>>, readRaw});
    reader(input.ConsumeRemainingBytesAsString());
}
