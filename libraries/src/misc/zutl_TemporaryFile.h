#pragma once
// The temporary file in which the new content of a file is prepared:
//
//     .NAME.saving-0123456789abcdef    NAME: of the file that it will replace; 16 hexadecimal digits
//
// Its creator holds a lock on it (flock(2)) until it is renamed or removed, so a file that nobody has locked
// was left by a process that was killed.

#include "zutl_Directory.h"
#include "zutl_String.h"

#include <sys/stat.h>

namespace zutl {

// A temporary file that this process created and locked; removed by the destructor unless it was renamed.
class TemporaryFile {
public:
    // Creates the file for the content of `name`. If isOpen() returns false, errno has the reason.
    TemporaryFile(int directory, const char* name, mode_t mode);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    bool isOpen() const { return descriptor >= 0; }
    int get() const { return descriptor; }
    const struct stat& status() const { return created; } // right after creation

    // Renames the file over `target` in the same directory. Returns false, with errno set, on an error.
    [[nodiscard]] bool renameTo(const char* target);

    // As renameTo, but fails with EEXIST if the target exists, and with EINVAL or ENOSYS if the system cannot
    // check that atomically.
    [[nodiscard]] bool renameToNew(const char* target);

    // Exchanges the names of the file and of `target`, which must exist; the destructor then removes what had
    // that name. Returns false, with errno set, on an error; EINVAL or ENOSYS if names cannot be exchanged.
    [[nodiscard]] bool exchangeWith(const char* target);

    const char* name() const { return path.c_str(); }

private:
    [[nodiscard]] bool create(mode_t mode);
    [[nodiscard]] bool rename(const char* target, unsigned int flags);
    void removeAndClose();

    int parent; // the open directory
    int descriptor = -1;
    bool isNamed = false; // its name is in the directory and ours to remove
    struct stat created {};
    String path;
};

// Removes the temporary files for `name` that no process holds a lock on. Nothing else in the directory is
// touched.
void clearLeftTemporaryFiles(Directory& directory, std::string_view name);

} // namespace zutl
