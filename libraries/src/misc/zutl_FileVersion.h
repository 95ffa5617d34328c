#pragma once
// Detecting that a file was replaced. Internal: not installed.

#include "zutl_File.h"
#include "zutl_ReplaceFile.h"

#include <sys/stat.h>

namespace zutl {

// The file, or absence of a file, that a name in a directory refers to at one moment. As a condition for
// replaceFile: the name still refers to that file, and nobody has written to it. Keeps the file open, so that
// its inode number cannot be reused.
class FileVersion final : public ReplaceCondition {
public:
    // Records what `name` in the open directory refers to. Does not follow a symbolic link.
    FileVersion(int directory, const char* name);

    // Returns 0, or an errno value if the file could not be opened. A missing file is not an error.
    int error() const { return code; }
    bool exists() const { return file.isOpen(); }

    [[nodiscard]] bool holds(int directory, const char* name) const override;

    // If another version appears at the last moment, puts it back and returns ESTALE. Only an in-place write
    // at that moment may be lost, and on a file system without RENAME_EXCHANGE a rename, too.
    [[nodiscard]] int rename(TemporaryFile& temporary, int directory, const char* name) const override;

private:
    [[nodiscard]] bool isAt(int directory, const char* name) const;

    File file;
    int code = 0;
    struct stat status {};
};

} // namespace zutl
