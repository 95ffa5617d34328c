#pragma once
// Sixteen bytes at a time, for the passes over long texts: in one register where the machine's baseline has
// such, else byte by byte with the same results.

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zutl {

class Block {
public:
    static constexpr size_t size = 16;

    // Takes the 16 bytes from there.
    explicit Block(const char* from);

    // Puts them there.
    void store(char* to) const;

    // Makes every `from` among them a `to`.
    void replace(char from, char to);

    // The position of the first byte that is one of the wanted; 16 when there is none.
    template <typename... Bytes>
    size_t find(Bytes... wanted) const;

private:
#if defined(__SSE2__)
    __m128i bytes;
#else
    char bytes[size];
#endif
};

#if defined(__SSE2__)

inline Block::Block(const char* from) : bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}

inline void Block::store(char* to) const {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

inline void Block::replace(char from, char to) {
    const __m128i found = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(from));
    bytes = _mm_xor_si128(bytes, _mm_and_si128(found, _mm_set1_epi8(static_cast<char>(from ^ to))));
}

template <typename... Bytes>
size_t Block::find(Bytes... wanted) const {
    __m128i found = _mm_setzero_si128();
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted)))), ...);
    // A bit behind the sixteen stands for "none".
    return static_cast<size_t>(
        __builtin_ctz(static_cast<unsigned int>(_mm_movemask_epi8(found)) | 1U << size));
}

#else

inline Block::Block(const char* from) {
    std::memcpy(bytes, from, size);
}

inline void Block::store(char* to) const {
    std::memcpy(to, bytes, size);
}

inline void Block::replace(char from, char to) {
    for (char& byte : bytes)
        byte = byte == from ? to : byte;
}

template <typename... Bytes>
size_t Block::find(Bytes... wanted) const {
    for (size_t position = 0; position < size; ++position)
        if (((bytes[position] == wanted) || ...))
            return position;
    return size;
}

#endif

} // namespace zutl
