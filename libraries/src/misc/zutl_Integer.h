#pragma once
// zutl::Integer, a signed 32-bit number among the serializable types.

#include "zusl_Serializable.h"

#include <cstdint>

namespace zutl {

// The containers and streams keep their counts and type tags in it, the url its port.
class Integer : public zusl::Serializable {
public:
    Integer(int number = 0) : value(number) {}
    operator int() const { return value; }

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // <name>, the value in decimal, </name>; nothing for a null name.
    std::string toXML() const override;
    std::string toXML(const char* name) const override;

    // Takes the decimal integer that the element's value begins with, held within 32 bits; 0 when it is no
    // number. False, with the value unchanged, when there is no document.
    bool fromXML(const char* xml) override;

    // The binary form: 4 bytes, two's complement. Reading looks at no more. Throws
    // "zusl::Serializable::fromBin() - Failed!", with the value unchanged, when fewer are there.
    unsigned int getBinLength() const noexcept override;
    unsigned int toBin(unsigned char* buffer) const noexcept override;
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    std::int32_t value;
};

} // namespace zutl
