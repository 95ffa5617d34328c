#include "zutl_Json.h"

#include "zutl_Utf8.h"

#include <array>
#include <cstdio>

namespace zutl {

bool appendJsonString(std::string& json, std::string_view text) {
    constexpr std::uint32_t replacementCharacter = 0xFFFD;
    bool isExact = true;
    json += '"';
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        isExact = isExact && character.isValid;
        if (character.escape != 0) {
            json += '\\';
            json += character.escape;
        } else if (character.isHarmless) {
            json += text.substr(0, character.length);
        } else { // all of them are in the basic multilingual plane
            std::array<char, 8> escape;
            std::snprintf(
                escape.data(), escape.size(), "\\u%04X",
                static_cast<unsigned int>(character.isValid ? character.code : replacementCharacter));
            json += escape.data();
        }
        text.remove_prefix(character.length);
    }
    json += '"';
    return isExact;
}

} // namespace zutl
