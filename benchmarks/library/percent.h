#pragma once
// Percent-decoding written by hand.

#include <string>
#include <string_view>

namespace byhand {

constexpr unsigned char noDigit = 16;

// The values of the hexadecimal digits; noDigit for all other bytes.
class HexDigits {
public:
    constexpr HexDigits() {
        for (unsigned char& entry : value)
            entry = noDigit;
        for (unsigned char i = 0; i < 16; ++i) {
            value[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
            value[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
        }
    }
    constexpr unsigned char operator[](char byte) const { return value[static_cast<unsigned char>(byte)]; }

private:
    unsigned char value[256] = {};
};
inline constexpr HexDigits hexDigits;

// The byte that two digits stand for, as far as they are digits.
inline char escaped(const char* digits) {
    const unsigned int high = hexDigits[digits[0]];
    const unsigned int low = hexDigits[digits[1]];
    if (high == noDigit)
        return '\0';
    return static_cast<char>(low == noDigit ? high : high * 16 + low);
}

// Byte by byte, which is best for the short pieces of a url or a form. Every byte that is no escape goes
// through `change`.
template <typename Text = std::string, typename Change>
Text decodeShort(std::string_view text, Change change) {
    Text result(text);
    char* to = result.data();
    const char* from = to;
    const char* const end = from + text.size();
    while (from < end) {
        if (*from == '%' && end - from > 2) {
            *to++ = escaped(from + 1);
            from += 3;
        } else {
            *to++ = change(*from++);
        }
    }
    if (to != end)
        result.resize(static_cast<size_t>(to - result.data()));
    return result;
}

} // namespace byhand
