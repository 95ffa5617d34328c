#pragma once
// A set of bytes with constant-time lookup.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zutl {

class ByteSet {
public:
    constexpr explicit ByteSet(std::string_view bytes) {
        for (const char byte : bytes)
            members[wordOf(byte)] |= bitOf(byte);
        count = bytes.size();
        first = bytes.empty() ? '\0' : bytes.front();
    }

    constexpr bool contains(char byte) const { return (members[wordOf(byte)] & bitOf(byte)) != 0; }

    // Returns the position of the first byte of the set at or after `from`, or npos if there is none.
    size_t findIn(std::string_view text, size_t from) const {
        if (count <= 1)
            return count == 0 ? std::string_view::npos : text.find(first, from);
        for (size_t position = from; position < text.size(); ++position)
            if (contains(text[position]))
                return position;
        return std::string_view::npos;
    }

private:
    static constexpr size_t wordOf(char byte) { return static_cast<unsigned char>(byte) / 32; }
    static constexpr std::uint32_t bitOf(char byte) {
        return std::uint32_t{1} << (static_cast<unsigned char>(byte) % 32);
    }

    std::array<std::uint32_t, 8> members{}; // a bit for each byte
    size_t count = 0;                       // of the bytes that were given
    char first = '\0';
};

} // namespace zutl
