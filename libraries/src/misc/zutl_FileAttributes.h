#pragma once
// Copies owner, mode, ACL and extended attributes of a file to the one that replaces it.

#include "zutl_String.h"

#include <sys/stat.h>

namespace zutl {

// Gives the new file the owner and group of the existing one. Returns false, with errno set, on an error.
[[nodiscard]] bool copyOwner(int descriptor, const struct stat& created, const struct stat& existing);

// Gives the new file the existing file's ACL and other extended attributes, and its permission bits; the
// set-user-id, set-group-id and sticky bits are dropped. Returns false, with errno set, on an error.
[[nodiscard]] bool copyAttributes(int descriptor, const char* existingPath, const struct stat& existing);

} // namespace zutl
