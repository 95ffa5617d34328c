// Fuzzes zudump on any bytes: its walk, as printed, beside the library's readers.

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

// A form that is whole is what the type's reader takes. (It does not look into elements that hold others.)
template <typename T>
static void check(const Text& bytes, bool looksInside = true) {
    T object;
    unsigned int taken = 0;
    const bool isTaken = thrown([&] { taken = readForm(object, bytes); }).empty() && taken > 0;
    const bool whole = isWhole(bytes, {Layout::form, object.getTypeId()});
    require(looksInside ? whole == isTaken : isTaken || !whole);
}

void fuzz(FuzzedDataProvider& input) {
    const Text bytes = input.ConsumeRemainingBytesAsString();
    check<zutl::Integer>(bytes);
    check<zutl::String>(bytes);
    check<zusl::List<zutl::String>>(bytes);
    check<zusl::StringMap<zusl::EndOfFile>>(bytes);
    check<zusl::MemIOStream>(bytes, false);
    check<zusl::List<zusl::StringMap<zusl::EndOfFile>>>(bytes, false);
    isWhole(bytes, {Layout::objectFile});
    isWhole(bytes, {Layout::savedStream});
}
