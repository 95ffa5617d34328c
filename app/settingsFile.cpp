#include "settingsFile.h"

#include "report.h"
#include "zutl_ReplaceFile.h"

#include <string_view>

namespace {

constexpr std::string_view rootOpen = "<Settings>\n";
constexpr std::string_view rootClose = "</Settings>\n";
constexpr size_t markupPerEntry = sizeof "  <></>\n" - 1;

} // namespace

zutl::String settingsText(const Settings& params) {
    size_t length = rootOpen.size() + rootClose.size();
    for (const auto& [key, value] : params)
        length += markupPerEntry + 2 * key.size() + value.size();

    zutl::String text;
    text.reserve(length);
    text += rootOpen;
    for (const auto& [key, value] : params) {
        text += "  <";
        text += key;
        text += '>';
        text += value;
        text += "</";
        text += key;
        text += ">\n";
    }
    text += rootClose;
    return text;
}

bool saveXML(const Settings& params) {
    const zutl::FileError error = zutl::replaceFile(".", settingsFile, settingsText(params));
    if (error.code != 0)
        report(error.file, error.code);
    return error.code == 0;
}
