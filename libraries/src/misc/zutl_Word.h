#pragma once
// As many bytes as a register of the machine holds, searched all at once with plain arithmetic: for passes
// over texts on every kind of machine. Internal.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace zutl {

class Word {
public:
    static constexpr size_t size = sizeof(size_t);

    // Loads the bytes at `from`.
    explicit Word(const char* from) { std::memcpy(&bytes, from, size); }

    // Stores the bytes at `to`.
    void store(char* to) const { std::memcpy(to, &bytes, size); }

    // Replaces each `from` by `to`.
    void replace(char from, char to) {
        const size_t rest = bytes ^ ones * static_cast<unsigned char>(from);
        const size_t different = ((rest & low) + low) | rest | low; // no byte's sum carries into the next
        bytes ^= (~different >> 7) * static_cast<unsigned char>(from ^ to);
    }

    // A byte to find; bits that are set in `ignored` may differ.
    struct Pattern {
        char byte;
        unsigned char ignored = 0;
    };

    // Returns the position of the first byte that matches one of the patterns, or `size`.
    template <typename... Patterns>
    size_t find(Patterns... wanted) const {
        const size_t inOrder = firstByteLowest();
        const size_t found = (matches(inOrder, wanted) | ...);
        return found == 0 ? size : static_cast<size_t>(__builtin_ctzll(found)) / 8;
    }

private:
    static constexpr size_t ones = std::numeric_limits<size_t>::max() / 255; // 1 in every byte
    static constexpr size_t low = ones * 0x7F; // every bit but the highest of each byte

    // Returns 0x80 in the lowest byte that matches. Bytes above that one may differ from the pattern.
    static size_t matches(size_t text, Pattern wanted) {
        const size_t rest =
            (text ^ ones * static_cast<unsigned char>(wanted.byte)) & ~(ones * wanted.ignored);
        return (rest - ones) & ~rest & ~low;
    }

    // Returns the bytes with the first one in memory in the lowest bits.
    size_t firstByteLowest() const {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return bytes;
#else
        return size == 8 ? __builtin_bswap64(bytes) : __builtin_bswap32(static_cast<std::uint32_t>(bytes));
#endif
    }

    size_t bytes;
};

} // namespace zutl
