#include "zutl_FileVersion.h"

#include "zutl_TemporaryFile.h"

#include <cerrno>
#include <fcntl.h>

namespace zutl {

FileVersion::FileVersion(int directory, const char* name) : file(directory, name, O_PATH | O_NOFOLLOW) {
    if (file.isOpen() ? fstat(file.get(), &status) != 0 : errno != ENOENT)
        code = errno;
}

// Returns true if `name` refers to this file.
bool FileVersion::isAt(int directory, const char* name) const {
    struct stat now;
    return exists() && fstatat(directory, name, &now, AT_SYMLINK_NOFOLLOW) == 0 &&
           now.st_dev == status.st_dev && now.st_ino == status.st_ino;
}

bool FileVersion::holds(int directory, const char* name) const {
    struct stat now;
    if (fstatat(directory, name, &now, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT && !exists();
    return isAt(directory, name) && now.st_size == status.st_size &&
           now.st_ctim.tv_sec == status.st_ctim.tv_sec && now.st_ctim.tv_nsec == status.st_ctim.tv_nsec;
}

int FileVersion::rename(TemporaryFile& temporary, int directory, const char* name) const {
    if (!holds(directory, name))
        return ESTALE;
    const FileVersion ours(directory, temporary.name());
    if (!(exists() ? temporary.exchangeWith(name) : temporary.renameToNew(name))) {
        if (errno == EINVAL || errno == ENOSYS) // the file system or the kernel can only rename
            return temporary.renameTo(name) ? 0 : errno;
        return errno == EEXIST || errno == ENOENT ? ESTALE : errno;
    }
    if (!exists() || isAt(directory, temporary.name()))
        return 0; // the old version is removed as the temporary file
    while (temporary.exchangeWith(name) && !ours.isAt(directory, temporary.name()))
        continue; // yet another version appeared before this one was put back
    return ESTALE;
}

} // namespace zutl
