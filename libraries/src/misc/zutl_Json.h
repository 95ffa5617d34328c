#pragma once
// Writing of JSON. Internal: not installed.

#include <string>
#include <string_view>

namespace zutl {

// Appends `text` to `json` as a JSON string with its quotes. Each byte that is not valid UTF-8 becomes
// U+FFFD. Returns false if there was such a byte.
bool appendJsonString(std::string& json, std::string_view text);

} // namespace zutl
