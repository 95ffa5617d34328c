#pragma once
// Replacing a file so that at any instant it holds the whole old text or the whole new one: with several
// requests at once, a full device, a kill at any point, or a power cut.

#include "zutl_String.h"

// Makes the text the content of the file `name` in the working directory; mode and owner of an existing file
// stay. The text is written to a sibling file, brought to the device, and the sibling renamed over the file.
// Where a sibling cannot serve (a symbolic link or no regular file, a directory that takes no new file, a
// mode or owner that cannot be kept) the file is written in place.
//
// False when the text could not be written, or the existing file may not be. Leaves no sibling behind, and
// clears those of requests that were killed. Throws std::bad_alloc when memory runs out, with the file
// untouched.
bool replaceFile(const char* name, const zutl::String& text);
