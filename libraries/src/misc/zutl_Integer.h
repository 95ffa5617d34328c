#pragma once
// zutl::Integer, a signed 32-bit number that stands among the serializable types.

#include <cstdint>

namespace zutl {

class Integer {
public:
    Integer(int number = 0) : value(number) {}
    operator int() const { return value; }

    std::int32_t value;
};

} // namespace zutl
