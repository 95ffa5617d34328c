#include "escaped.h"

#include "zutl_String.h"
#include "zutl_Utf8.h"

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const zutl::Character character = zutl::firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.length);
        if (character.escape != 0)
            (result += '\\') += character.escape;
        else if (character.isHarmless)
            result += bytes;
        else
            for (const char byte : bytes)
                result += zutl::String::fromFormat(
                    "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        text.remove_prefix(character.length);
    }
    return result;
}
