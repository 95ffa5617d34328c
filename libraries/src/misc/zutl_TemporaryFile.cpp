#include "zutl_TemporaryFile.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zutl {

namespace {

constexpr std::string_view mark = ".saving-";
constexpr std::string_view digits = "0123456789abcdef";
constexpr size_t digitCount = 16;
constexpr int mostAttempts = 100;

// Returns a number that is unlikely to repeat. If two processes get the same one, only one can create the
// file.
std::uint64_t uniqueNumber() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

void writeNumber(char* to, std::uint64_t number) {
    for (size_t place = digitCount; place-- > 0; number >>= 4U)
        to[place] = digits[number & 15U];
}

bool isTemporaryName(std::string_view entry, std::string_view name) {
    if (entry.size() != 1 + name.size() + mark.size() + digitCount || entry[0] != '.' ||
        entry.substr(1, name.size()) != name)
        return false;
    entry.remove_prefix(1 + name.size());
    return entry.substr(0, mark.size()) == mark && entry.find_first_not_of(digits, mark.size()) == entry.npos;
}

bool lock(int descriptor) {
    int result;
    do
        result = flock(descriptor, LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

void removeIfLeft(int directory, const char* entry) {
    // Opened for writing, because some file systems (NFS) require that for an exclusive lock.
    const File file(directory, entry, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file.isOpen() || !lock(file.get()))
        return;
    // Its creator may have renamed it since it was opened.
    struct stat locked;
    struct stat named;
    if (fstat(file.get(), &locked) == 0 && S_ISREG(locked.st_mode) &&
        fstatat(directory, entry, &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_dev == locked.st_dev &&
        named.st_ino == locked.st_ino)
        unlinkat(directory, entry, 0);
}

} // namespace

TemporaryFile::TemporaryFile(int directory, const char* name, mode_t mode) : parent(directory), path(".") {
    path += name;
    path += mark;
    path.resize(path.size() + digitCount);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (create(mode))
            return;
        const int error = errno;
        removeAndClose();
        errno = error;
        if (error != EEXIST)
            return;
    }
}

TemporaryFile::~TemporaryFile() {
    removeAndClose();
}

// Fails with EEXIST if another process has the name, or cleared the file before it was locked.
bool TemporaryFile::create(mode_t mode) {
    writeNumber(&path[path.size() - digitCount], uniqueNumber());
    do
        descriptor = openat(parent, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return false;
    isNamed = true;
    // Any other error means that the file system has no locks. Then no process can clear this file either.
    if (!lock(descriptor) && errno == EWOULDBLOCK) {
        errno = EEXIST;
        return false;
    }
    if (fstat(descriptor, &created) != 0)
        return false;
    isNamed = created.st_nlink > 0;
    if (!isNamed)
        errno = EEXIST;
    return isNamed;
}

bool TemporaryFile::renameTo(const char* target) {
    if (renameat(parent, path.c_str(), parent, target) != 0)
        return false;
    isNamed = false;
    return true;
}

// The flags are those of renameat2(2), which not every C library has.
bool TemporaryFile::rename(const char* target, unsigned int flags) {
    return syscall(SYS_renameat2, parent, path.c_str(), parent, target, flags) == 0;
}

bool TemporaryFile::renameToNew(const char* target) {
    constexpr unsigned int noReplace = 1;
    const bool isRenamed = rename(target, noReplace);
    isNamed = isNamed && !isRenamed;
    return isRenamed;
}

bool TemporaryFile::exchangeWith(const char* target) {
    constexpr unsigned int exchange = 2;
    return rename(target, exchange);
}

void TemporaryFile::removeAndClose() {
    if (descriptor < 0)
        return;
    if (isNamed)
        unlinkat(parent, path.c_str(), 0);
    close(descriptor);
    descriptor = -1;
}

void clearLeftTemporaryFiles(Directory& directory, std::string_view name) {
    while (const char* const entry = directory.next())
        if (isTemporaryName(entry, name))
            removeIfLeft(directory.get(), entry);
}

} // namespace zutl
