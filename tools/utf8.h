#pragma once
// Texts are plain bytes; most are UTF-8.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace dump {

struct Character {
    size_t length;           // in bytes
    std::uint32_t code;      // of a byte that begins no character, the byte
    bool isValid = true;     // it is a character
    bool isHarmless = false; // it neither controls a terminal nor turns or hides the text around it
    char escape = 0;         // behind a backslash, in C and in JSON; of quotes, backslashes, common controls
};

// The first character of a text that is not empty. A byte that begins none stands for itself.
Character firstCharacter(std::string_view text);

} // namespace dump
