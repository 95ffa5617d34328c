#pragma once
// Conversion of lengths and positions to the 32 bits of the encodings and of the published interface.

#include <cstdint>

namespace zutl {

// Throws std::bad_alloc.
[[noreturn, gnu::cold]] void throwTooLong();

// Returns the length or position in 32 bits. Throws std::bad_alloc if it does not fit.
inline unsigned int to32Bits(std::uint64_t length) {
    if (length > UINT32_MAX)
        throwTooLong();
    return static_cast<unsigned int>(length);
}

} // namespace zutl
