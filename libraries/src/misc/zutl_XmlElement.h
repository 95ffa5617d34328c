#pragma once
// The XML text of one value: an element with the value's text and nothing else.

#include <string>
#include <string_view>

namespace zutl {

class String;

// Returns <name>content</name>, without escaping; <name/> if there is no content; an empty text for a null
// name.
std::string xmlElement(const char* name, std::string_view content);

// Stores the value of the root element. Returns false, with `value` unchanged, if there is no document.
bool xmlElementValue(const char* xml, String& value);

} // namespace zutl
