#pragma once
// As many bytes as a register of the machine holds, searched all at once with plain arithmetic: for passes
// over texts on every kind of machine. Internal.

#include <cstddef>
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
        bytes ^= (equal({from}) >> 7) * static_cast<unsigned char>(from ^ to);
    }

    // A byte to find; bits that are set in `ignored` may differ.
    struct Pattern {
        char byte;
        unsigned char ignored = 0;
    };

    // Returns the position of the first byte that matches one of the patterns, or `size`.
    template <typename... Patterns>
    size_t find(Patterns... wanted) const {
        const size_t found = (equal(wanted) | ...);
        return found == 0 ? size : first(found);
    }

private:
    static constexpr size_t ones = std::numeric_limits<size_t>::max() / 255; // 1 in every byte
    static constexpr size_t low = ones * 0x7F; // every bit but the highest of each byte

    // Returns 0x80 in every byte that matches, else 0. No byte's sum carries into the next.
    size_t equal(Pattern wanted) const {
        const size_t difference =
            (bytes ^ ones * static_cast<unsigned char>(wanted.byte)) & ~(ones * wanted.ignored);
        return ~(((difference & low) + low) | difference | low);
    }

    // Returns the position of the first byte in memory that is not 0.
    static size_t first(size_t found) {
        const unsigned long long bits = found;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return static_cast<size_t>(__builtin_ctzll(bits)) / 8;
#else
        return static_cast<size_t>(__builtin_clzll(bits)) / 8 - (sizeof bits - size);
#endif
    }

    size_t bytes;
};

} // namespace zutl
