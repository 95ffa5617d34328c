#pragma once
// What loops over long texts are written by hand with: 16 bytes at a time in one register where the machine's
// baseline has such registers (elsewhere the loops go byte by byte), and a small buffer for the result.

#include <array>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace byhand {

constexpr std::ptrdiff_t blockSize = 16;

#if defined(__SSE2__)

constexpr bool hasBlocks = true;

class Block {
public:
    explicit Block(const char* from) : bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}
    void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes); }

    // The number of bytes before the first that is one of these.
    template <typename... Bytes>
    std::ptrdiff_t before(Bytes... wanted) const {
        __m128i found = _mm_setzero_si128();
        ((found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted)))), ...);
        return __builtin_ctz(static_cast<unsigned int>(_mm_movemask_epi8(found)) | 1U << blockSize);
    }

private:
    __m128i bytes;
};

#else

constexpr bool hasBlocks = false;

struct Block {
    explicit Block(const char* /*from*/) {}
    void store(char* /*to*/) const {}
    template <typename... Bytes>
    std::ptrdiff_t before(Bytes... /*wanted*/) const {
        return 0;
    }
};

#endif

// The result before it is appended to the string: stays in the first cache, and no byte of the string is
// written twice.
class Chunk {
public:
    explicit Chunk(std::string& string) : result(string) {}

    // Where to write the next block and up to 8 bytes. `to` is the end of what was written.
    char* makeRoom(char* to) { return bytes.data() + bytes.size() - to >= blockSize + 8 ? to : empty(to); }
    char* start() { return bytes.data(); }
    char* empty(const char* to) {
        result.append(bytes.data(), static_cast<size_t>(to - bytes.data()));
        return bytes.data();
    }

private:
    std::string& result;
    std::array<char, 4096> bytes;
};

} // namespace byhand
