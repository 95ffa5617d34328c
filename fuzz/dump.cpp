// Fuzzes zudump on any bytes: compares its walk with the library's readers.

#include "fuzzing.h"
#include "walk.h"
#include "zusl_List.h"
#include "zusl_Map.h"

using dump::Layout;

static bool isWhole(const Text& bytes, const Layout& layout) {
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    const auto printer = dump::jsonPrinter(nowhere);
    const bool whole =
        dump::walk("", {exact.data(), static_cast<unsigned int>(exact.size())}, layout, *printer);
    printer->finish();
    return whole;
}

// The walk finds an object whole if and only if the type's reader accepts it. (The reader does not look into
// elements that hold others.)
template <typename T, bool looksInside = true>
static void check(const Text& bytes) {
    T object;
    unsigned int taken = 0;
    const bool isTaken = thrown([&] { taken = fromBytes(object, bytes); }).empty() && taken > 0;
    const bool whole = isWhole(bytes, {Layout::bareObject, object.getTypeId()});
    require(looksInside ? whole == isTaken : isTaken || !whole);
}

template <Layout::Kind kind>
static void walkAlone(const Text& bytes) {
    isWhole(bytes, {kind});
}

void fuzz(FuzzedDataProvider& input) {
    const auto walk =
        input.PickValueInArray({check<zutl::Integer>, check<zutl::String>, check<zusl::List<zutl::String>>,
                                check<zusl::StringMap<zusl::EndOfFile>>, check<zusl::MemIOStream, false>,
                                check<zusl::List<zusl::StringMap<zusl::EndOfFile>>, false>,
                                walkAlone<Layout::objectFile>, walkAlone<Layout::savedStream>});
    walk(input.ConsumeRemainingBytesAsString());
}
