#pragma once
// Writes a file in place, as the fallback where a temporary file is impossible. Not atomic: a kill or a power
// cut can leave a partial text.

#include "zutl_String.h"

namespace zutl {

// Writes the text to `name` in the open directory with String::toFile and flushes it to disk; a file that
// does not exist is created. On failure the old text is restored. A symbolic link is followed if root or the
// effective user owns it. Returns 0, or the errno value of what failed.
[[nodiscard]] int writeInPlace(int directory, const char* name, const String& text);

} // namespace zutl
