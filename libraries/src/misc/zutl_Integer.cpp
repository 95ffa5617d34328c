#include "zutl_Integer.h"

#include "zutl_ByteOrder.h"
#include "zutl_String.h"
#include "zutl_XmlElement.h"

namespace zutl {

namespace {

constexpr unsigned int typeId = 504;
constexpr const char* typeName = "Integer";
constexpr unsigned int binLength = 4;

} // namespace

unsigned int Integer::getTypeId() const {
    return typeId;
}

std::string Integer::getTypeName() const {
    return typeName;
}

std::string Integer::toXML() const {
    return toXML(typeName);
}

std::string Integer::toXML(const char* name) const {
    return xmlElement(name, String::fromInteger(value));
}

bool Integer::fromXML(const char* xml) {
    String text;
    if (!xmlElementValue(xml, text))
        return false;
    value = text.toInt();
    return true;
}

unsigned int Integer::getBinLength() const {
    return binLength;
}

unsigned int Integer::toBin(unsigned char* buffer) const {
    store32(buffer, static_cast<std::uint32_t>(value));
    return binLength;
}

unsigned int Integer::fromBin(const unsigned char* data, unsigned int length) {
    if (length < binLength)
        zusl::throwFromBinFailed();
    value = static_cast<std::int32_t>(load32(data));
    return binLength;
}

} // namespace zutl
