// Fuzzes zudump on any bytes: its walk beside the library's readers, and its JSON.

#include "fuzzing.h"
#include "walk.h"
#include "zusl_List.h"
#include "zusl_Map.h"

using dump::Layout;

// Texts end, and outside of them every bracket closes the one that was opened last.
static void checkJson(const Text& json) {
    Text closing;
    for (size_t at = 0; at < json.size(); ++at) {
        const char byte = json[at];
        if (byte == '"')
            for (++at; json.at(at) != '"'; at += json[at] == '\\' ? 2 : 1)
                require(static_cast<unsigned char>(json[at]) >= ' ');
        else if (byte == '[' || byte == '{')
            closing += static_cast<char>(byte + 2);
        else if (byte == ']' || byte == '}')
            require(!closing.empty() && closing.back() == byte), closing.pop_back();
    }
    require(closing.empty());
}

static bool isWhole(const Text& bytes, const Layout& layout) {
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    char* json = nullptr;
    size_t size = 0;
    std::FILE* const out = open_memstream(&json, &size);
    const auto printer = dump::jsonPrinter(out);
    const bool whole =
        dump::walk("", {exact.data(), static_cast<unsigned int>(exact.size())}, layout, *printer);
    printer->finish();
    std::fclose(out);
    checkJson(Text(json, size));
    std::free(json);
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
