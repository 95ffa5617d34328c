#pragma once
// Numbers in the binary formats: little-endian and unaligned, on every machine. Compilers turn each of these
// functions into a single move where the machine allows it.

#include <cstdint>

namespace zutl {

// Stores 2 bytes, least significant first.
inline void store16(unsigned char* to, std::uint16_t number) {
    to[0] = static_cast<unsigned char>(number);
    to[1] = static_cast<unsigned char>(number >> 8);
}

// Stores 4 bytes, least significant first.
inline void store32(unsigned char* to, std::uint32_t number) {
    to[0] = static_cast<unsigned char>(number);
    to[1] = static_cast<unsigned char>(number >> 8);
    to[2] = static_cast<unsigned char>(number >> 16);
    to[3] = static_cast<unsigned char>(number >> 24);
}

// Loads 2 bytes, least significant first.
inline std::uint16_t load16(const unsigned char* from) {
    return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

// Loads 4 bytes, least significant first.
inline std::uint32_t load32(const unsigned char* from) {
    return from[0] | static_cast<std::uint32_t>(from[1]) << 8 | static_cast<std::uint32_t>(from[2]) << 16 |
           static_cast<std::uint32_t>(from[3]) << 24;
}

} // namespace zutl
