#pragma once
// Decoding of UTF-8. Internal: not installed.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zutl {

struct Character {
    size_t length;           // in bytes
    std::uint32_t code;      // code point; of a byte that begins no character, the byte
    bool isValid = true;     // false for a byte that begins no character
    bool isHarmless = false; // neither controls a terminal nor hides or reorders the text around it
    char escape = 0;         // after a backslash, in C and in JSON; of quotes, backslashes, common controls
};

// Returns the first character of `text`. A byte that begins no valid character counts as one of length 1.
// Requires a text that is not empty.
Character firstCharacter(std::string_view text);

} // namespace zutl
