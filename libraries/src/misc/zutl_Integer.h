#pragma once
// zutl::Integer, a signed 32-bit number among the serializable types.

#include "zusl_Serializable.h"

#include <cstdint>

namespace zutl {

// The containers and streams keep their counts and type tags in it, the url its port.
class Integer : public zusl::Serializable {
public:
    // Creates an integer with this value.
    Integer(int number = 0) : value(number) {}

    // Returns the value.
    operator int() const { return value; }

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // Returns toXML("Integer").
    std::string toXML() const override;

    // Returns <name>value</name> with the value in decimal; an empty text for a null name.
    std::string toXML(const char* name) const override;

    // Reads the decimal integer at the start of the root element's value, saturated to 32 bits; 0 if there is
    // none. Returns false, with the value unchanged, if there is no document.
    bool fromXML(const char* xml) override;

    // Returns 4.
    unsigned int getBinLength() const override;

    // Writes the value in two's complement and returns 4.
    unsigned int toBin(unsigned char* buffer) const override;

    // Reads 4 bytes and returns 4. Throws "zusl::Serializable::fromBin() - Failed!", with the value
    // unchanged, if `length` is less.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // The number.
    std::int32_t value;
};

} // namespace zutl
