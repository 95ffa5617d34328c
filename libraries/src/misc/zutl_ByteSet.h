#pragma once
// A set of bytes that answers in one step, however many it holds.

#include <array>
#include <string_view>

namespace zutl {

class ByteSet {
public:
    constexpr explicit ByteSet(std::string_view bytes) {
        for (const char byte : bytes)
            member[static_cast<unsigned char>(byte)] = true;
    }

    constexpr bool contains(char byte) const { return member[static_cast<unsigned char>(byte)]; }

    // The first position at or after `from` that holds a byte of the set; npos when there is none.
    size_t findIn(std::string_view text, size_t from) const {
        for (size_t position = from; position < text.size(); ++position)
            if (contains(text[position]))
                return position;
        return std::string_view::npos;
    }

private:
    std::array<bool, 256> member{};
};

} // namespace zutl
