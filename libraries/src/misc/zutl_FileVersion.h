#pragma once
// Detecting that a file was replaced. Internal: not installed.

#include "zutl_File.h"
#include "zutl_ReplaceFile.h"

#include <sys/stat.h>

namespace zutl {

// What a name in a directory refers to at one moment: a file, or none. While the object lives, no other file
// can get the same number. As a condition: the name still refers to it, and nobody has written to it.
class FileVersion final : public ReplaceCondition {
public:
    // Looks at `name` in the open directory; a symbolic link is not followed.
    FileVersion(int directory, const char* name);

    // Returns 0, or the errno value of what failed. No file is no failure.
    int error() const { return code; }
    bool exists() const { return file.isOpen(); }

    [[nodiscard]] bool holds(int directory, const char* name) const override;

    // Another version that comes at the last moment is put back. Only what others write in place at that
    // moment may be lost, and on a file system without RENAME_EXCHANGE what they rename.
    [[nodiscard]] int rename(TemporaryFile& temporary, int directory, const char* name) const override;

private:
    [[nodiscard]] bool isAt(int directory, const char* name) const;

    File file;
    int code = 0;
    struct stat status {};
};

} // namespace zutl
