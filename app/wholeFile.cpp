#include "wholeFile.h"

#include "siblingFile.h"
#include "zutl_File.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum class Outcome { replaced, failed, siblingCannotServe };

// Trouble that writing in place would meet as well, after it has cut the old text; anything else is the
// directory's way of refusing a sibling.
Outcome afterRefusal(int error) {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case EIO:
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        return Outcome::failed;
    default:
        return Outcome::siblingCannotServe;
    }
}

bool takeModeAndOwner(int descriptor, const struct stat& existing) {
    struct stat made;
    if (fstat(descriptor, &made) != 0)
        return false;
    const bool sameOwner = made.st_uid == existing.st_uid && made.st_gid == existing.st_gid;
    if (!sameOwner && fchown(descriptor, existing.st_uid, existing.st_gid) != 0)
        return false;
    // A change of owner may have taken mode bits away.
    return (sameOwner && made.st_mode == existing.st_mode) ||
           fchmod(descriptor, existing.st_mode & 07777) == 0;
}

bool bringToDevice(int descriptor) {
    int result;
    do
        result = fsync(descriptor);
    while (result != 0 && errno == EINTR);
    // A file system that keeps nothing on a device says EINVAL.
    return result == 0 || errno == EINVAL;
}

// `existing` is null when there is no file yet.
Outcome replaceThroughSibling(const char* name, const zutl::String& text, const struct stat* existing) {
    SiblingFile sibling(name);
    const zutl::File file(sibling.path(), O_WRONLY | O_CREAT | O_EXCL,
                          existing ? existing->st_mode & 0777 : 0666);
    if (!file.isOpen())
        return afterRefusal(errno);
    sibling.removeWhenDone();
    if (existing && !takeModeAndOwner(file.get(), *existing))
        return Outcome::siblingCannotServe;
    if (!text.toFile(sibling.path()) || !bringToDevice(file.get()))
        return Outcome::failed;
    if (rename(sibling.path(), name) != 0)
        return afterRefusal(errno);
    sibling.keep();
    return Outcome::replaced;
}

// A text that cannot be written whole gives way to the old one again; cutting the file has made room for
// that.
bool writeInPlace(const char* name, const zutl::String& text) {
    struct stat target;
    zutl::String old;
    const bool hasOld = stat(name, &target) == 0 && S_ISREG(target.st_mode) && old.fromFile(name);
    if (text.toFile(name))
        return true;
    if (hasOld)
        old.toFile(name);
    return false;
}

} // namespace

bool replaceFile(const char* name, const zutl::String& text) {
    clearLeftSiblings(name);
    struct stat existing;
    const bool exists = lstat(name, &existing) == 0;
    if (!exists && errno != ENOENT)
        return false;
    if (exists && !S_ISREG(existing.st_mode))
        return writeInPlace(name, text);
    if (exists && faccessat(AT_FDCWD, name, W_OK, AT_EACCESS) != 0)
        return false;

    const Outcome outcome = replaceThroughSibling(name, text, exists ? &existing : nullptr);
    if (outcome == Outcome::siblingCannotServe)
        return writeInPlace(name, text);
    return outcome == Outcome::replaced;
}
