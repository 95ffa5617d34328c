#pragma once
// Percent-decoding written by hand.

#include "block.h"

#include <array>
#include <string>
#include <string_view>

namespace byhand {

constexpr unsigned char noDigit = 16;

inline constexpr auto digitValues = [] {
    std::array<unsigned char, 256> values{};
    for (unsigned char& value : values)
        value = noDigit;
    for (unsigned char i = 0; i < 16; ++i) {
        values[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
        values[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
    }
    return values;
}();

// The byte that two digits encode, as far as they are digits.
inline char escapedByte(const char* digits) {
    const unsigned int high = digitValues[static_cast<unsigned char>(digits[0])];
    const unsigned int low = digitValues[static_cast<unsigned char>(digits[1])];
    if (high == noDigit)
        return '\0';
    return static_cast<char>(low == noDigit ? high : high * 16 + low);
}

// Byte by byte, which is best for the short pieces of a url or a form. Each byte outside an escape goes
// through `change`.
template <typename Change>
std::string decodeShort(std::string_view text, Change change) {
    std::string result(text);
    char* to = result.data();
    const char* from = to;
    const char* const end = from + text.size();
    while (from < end) {
        if (*from == '%' && end - from > 2) {
            *to++ = escapedByte(from + 1);
            from += 3;
        } else {
            *to++ = change(*from++);
        }
    }
    if (to != end)
        result.resize(static_cast<size_t>(to - result.data()));
    return result;
}

inline std::string decodeShort(std::string_view text) {
    return decodeShort(text, [](char byte) { return byte; });
}

} // namespace byhand
