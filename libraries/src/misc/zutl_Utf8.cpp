#include "zutl_Utf8.h"

namespace zutl {

static bool isHarmless(std::uint32_t code) {
    // Controls, then what has no width or changes the direction of writing.
    static constexpr std::uint32_t harmful[][2] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},
                                                   {0x61C, 0x61C},   {0x200B, 0x200F}, {0x2028, 0x202E},
                                                   {0x2060, 0x206F}, {0xFEFF, 0xFEFF}};
    for (const auto& [first, last] : harmful)
        if (code >= first && code <= last)
            return false;
    return true;
}

static Character character(size_t length, std::uint32_t code) {
    constexpr std::string_view codes("\"\\\n\r\t"), escapes("\"\\nrt");
    const size_t found = code < 0x80 ? codes.find(static_cast<char>(code)) : codes.npos;
    return {length, code, true, isHarmless(code), found == codes.npos ? '\0' : escapes[found]};
}

Character firstCharacter(std::string_view text) {
    const auto byteAt = [text](size_t position) {
        return position < text.size() ? static_cast<unsigned char>(text[position]) : 0U;
    };
    const std::uint32_t first = byteAt(0);
    if (first < 0x80)
        return character(1, first);
    const Character stray{1, first, false};
    if (first < 0xC2 || first > 0xF4)
        return stray;
    const size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    std::uint32_t code = first & (0x7FU >> length);
    for (size_t position = 1; position < length; ++position) {
        if ((byteAt(position) & 0xC0U) != 0x80U)
            return stray;
        code = code << 6 | (byteAt(position) & 0x3FU);
    }
    const bool isOverlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (isOverlong || isSurrogate || code > 0x10FFFF)
        return stray;
    return character(length, code);
}

} // namespace zutl
