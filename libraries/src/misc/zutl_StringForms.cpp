// The serialized forms of zutl::String.

#include "zutl_String.h"
#include "zuxml_DomIterator.h"

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

} // namespace zutl
