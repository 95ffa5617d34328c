#pragma once
// Atomic replacement of a file's content. Internal: not installed.

#include "zutl_String.h"

namespace zutl {

// Whether the new content must survive a power cut.
enum class Durability {
    flushed, // content and name are on disk when replaceFile returns
    cached,  // the kernel writes them when it chooses; the file is still never partial
};

// Why a file could not be replaced.
struct FileError {
    int code = 0;               // errno value; 0 if there was no error
    const char* file = nullptr; // the file or directory at fault, as it was given to replaceFile
};

class TemporaryFile;

// When a file may be replaced.
class ReplaceCondition {
public:
    // Returns true if `name` in the open directory may be replaced now.
    virtual bool holds(int directory, const char* name) const = 0;

    // Renames the temporary file over `name` in the open directory. Returns 0 or an errno value; ESTALE if
    // the condition does not hold.
    virtual int rename(TemporaryFile& temporary, int directory, const char* name) const = 0;

protected:
    ~ReplaceCondition() = default;
};

// Replaces the content of file `name` in the directory at `path`: writes a temporary file, flushes it,
// renames it over `name`, and flushes the directory. At any instant the file has the whole old or the whole
// new content. An existing file keeps its owner, permission bits, ACL and extended attributes; a new one gets
// its mode from the umask or the directory's default ACL.
//
// If `name` is a symbolic link or not a regular file, if the directory refuses a new file or the rename, or
// if owner or attributes cannot be kept, writes in place (zutl_WriteInPlace.h). If the existing file is not
// writable, fails.
//
// Temporary files of processes that were killed are removed. On failure the old content stays and no
// temporary file is left; if only flushing the directory failed, the new content is in place but may not
// survive a power cut. Throws std::bad_alloc, with the file unchanged.
//
// If `condition` is not null, fails with ESTALE if it does not hold right before the file is replaced.
[[nodiscard]] FileError replaceFile(const char* path, const char* name, const String& text,
                                    Durability durability = Durability::flushed,
                                    const ReplaceCondition* condition = nullptr);

} // namespace zutl
