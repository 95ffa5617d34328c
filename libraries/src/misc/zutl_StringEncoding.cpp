// The XML text and the binary encoding of zutl::String.

#include "zutl_String.h"
#include "zutl_XmlElement.h"

#include <cstring>

namespace zutl {

namespace {

constexpr unsigned int typeId = 501;
constexpr const char* typeName = "zutl_String";

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
    std::string xml = xmlElement(name, encodeHtml(*this));
    xml.resize(std::strlen(xml.c_str()));
    return xml;
}

bool String::fromXML(const char* xml) {
    return xmlElementValue(xml, *this);
}

} // namespace zutl
