#pragma once
// Numbers, least significant byte first, for the loops written by hand.

#include <cstdint>

namespace byhand {

inline void store32(unsigned char* to, std::uint32_t number) {
    to[0] = static_cast<unsigned char>(number);
    to[1] = static_cast<unsigned char>(number >> 8);
    to[2] = static_cast<unsigned char>(number >> 16);
    to[3] = static_cast<unsigned char>(number >> 24);
}

inline std::uint16_t load16(const unsigned char* from) {
    return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

inline std::uint32_t load32(const unsigned char* from) {
    return from[0] | static_cast<std::uint32_t>(from[1]) << 8 | static_cast<std::uint32_t>(from[2]) << 16 |
           static_cast<std::uint32_t>(from[3]) << 24;
}

} // namespace byhand
