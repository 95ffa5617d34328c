// The serialized forms of zutl::String.

#include "zutl_ByteOrder.h"
#include "zutl_String.h"
#include "zuxml_DomIterator.h"

#include <cstring>

namespace zutl {

namespace {

constexpr unsigned int typeId = 501;
constexpr const char* typeName = "zutl_String";

// The binary form:
//
//     offset  size
//     0       4     n, the length of the text
//     4       n     the text
//     4 + n   1     a zero byte
constexpr unsigned int lengthSize = 4;
constexpr unsigned int overhead = lengthSize + 1;

} // namespace

unsigned int String::getTypeId() const {
    return typeId;
}

std::string String::getTypeName() const {
    return typeName;
}

std::string String::toXML() const {
    return toXML(typeName);
}

std::string String::toXML(const char* name) const {
    if (name == nullptr)
        return std::string();
    std::string xml("<");
    xml += name;
    if (empty())
        return xml += "/>";
    xml += '>';
    xml += encodeHtml(*this);
    xml += "</";
    xml += name;
    xml += '>';
    xml.resize(std::strlen(xml.c_str()));
    return xml;
}

bool String::fromXML(const char* xml) {
    const zuxml::DomIterator cursor = zuxml::DomIterator::parse(String(xml));
    if (cursor.atEnd())
        return false;
    *this = cursor.getValue();
    return true;
}

unsigned int String::getBinLength() const noexcept {
    return static_cast<unsigned int>(size()) + overhead;
}

unsigned int String::toBin(unsigned char* buffer) const noexcept {
    store32(buffer, static_cast<std::uint32_t>(size()));
    std::memcpy(buffer + lengthSize, c_str(), size() + 1);
    return getBinLength();
}

unsigned int String::fromBin(const unsigned char* data, unsigned int length) {
    if (length < overhead)
        zusl::throwFromBinFailed();
    const unsigned char* const text = data + lengthSize;
    const void* const end = std::memchr(text, 0, length - lengthSize);
    if (end == nullptr)
        zusl::throwFromBinFailed();
    assign(reinterpret_cast<const char*>(text),
           static_cast<size_t>(static_cast<const unsigned char*>(end) - text));
    return getBinLength();
}

} // namespace zutl
