#include "zutl_XmlElement.h"

#include "zutl_String.h"
#include "zuxml_DomIterator.h"

#include <initializer_list>

namespace zutl {

namespace {

std::string joined(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (const std::string_view piece : pieces)
        text += piece;
    return text;
}

} // namespace

std::string xmlElement(const char* name, std::string_view content) {
    if (name == nullptr)
        return std::string();
    const std::string_view tag(name);
    if (content.empty())
        return joined({"<", tag, "/>"});
    return joined({"<", tag, ">", content, "</", tag, ">"});
}

bool xmlElementValue(const char* xml, String& value) {
    const zuxml::DomIterator cursor = zuxml::DomIterator::parse(String(xml));
    if (cursor.atEnd())
        return false;
    value = cursor.getValue();
    return true;
}

} // namespace zutl
