#pragma once
// The XML text of one value: an element with the value's text and nothing else.

#include <string>
#include <string_view>

namespace zutl {

class String;

// <name>content</name>, with the content as it is; <name/> without content. Nothing for a null name.
std::string xmlElement(const char* name, std::string_view content);

// Gives the text of the XML's root element; false, with `value` unchanged, when there is no document.
bool xmlElementValue(const char* xml, String& value);

} // namespace zutl
