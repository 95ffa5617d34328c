#pragma once
// 16 bytes at a time, for the loops written by hand: in one register where the machine's baseline has such,
// else byte by byte.

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace byhand {

constexpr size_t blockSize = 16;

#if defined(__SSE2__)

class Block {
public:
    explicit Block(const char* from) : bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}
    void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes); }

    // One bit for each byte that is one of these; the lowest for the first.
    template <typename... Bytes>
    unsigned int positionsOf(Bytes... wanted) const {
        __m128i found = _mm_setzero_si128();
        ((found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted)))), ...);
        return static_cast<unsigned int>(_mm_movemask_epi8(found));
    }

private:
    __m128i bytes;
};

#else

class Block {
public:
    explicit Block(const char* from) { std::memcpy(bytes, from, blockSize); }
    void store(char* to) const { std::memcpy(to, bytes, blockSize); }

    template <typename... Bytes>
    unsigned int positionsOf(Bytes... wanted) const {
        unsigned int found = 0;
        for (size_t i = 0; i < blockSize; ++i)
            found |= static_cast<unsigned int>(((bytes[i] == wanted) || ...)) << i;
        return found;
    }

private:
    char bytes[blockSize];
};

#endif

// The number of the lowest bit that is set.
inline unsigned int lowest(unsigned int bits) {
    return static_cast<unsigned int>(__builtin_ctz(bits));
}

} // namespace byhand
