#include "zutl_WriteInPlace.h"

#include "zutl_File.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zutl {

namespace {

constexpr int mostLinks = 40; // as many as the kernel follows

// Path of the open file itself, even if its name changes.
String pathOf(const File& file) {
    return "/proc/self/fd/" + String::fromInteger(file.get());
}

// Replaces the path of a symbolic link by the path that it contains. Returns false, with errno set, if the
// link must not be followed.
bool follow(const File& link, uid_t owner, String& path) {
    if (owner != 0 && owner != geteuid()) {
        errno = EACCES;
        return false;
    }
    std::array<char, 4096> text;
    const ssize_t length = readlinkat(link.get(), "", text.data(), text.size());
    if (length <= 0)
        return false;
    path.resize(text[0] == '/' ? 0 : path.rfind('/') + 1); // without a slash: npos + 1 is 0
    path.append(text.data(), static_cast<size_t>(length));
    return true;
}

bool flushRegularFile(const char* path) {
    const File file(path, O_WRONLY);
    return file.isOpen() && flushToDisk(file.get());
}

int overwrite(const File& target, bool isRegular, const String& text) {
    const String path = pathOf(target);
    String old;
    const bool hasOld = isRegular && old.fromFile(path.c_str());
    if (text.toFile(path.c_str()) && (!isRegular || flushRegularFile(path.c_str())))
        return 0;
    const int error = errno;
    if (hasOld)
        old.toFile(path.c_str()); // fits, because the file has just been truncated
    return error;
}

int createAndWrite(int directory, const char* name, const String& text) {
    const File created(directory, name, O_WRONLY | O_CREAT | O_EXCL);
    if (!created.isOpen())
        return errno;
    // The directory of the new name may not be readable, so the whole file system is flushed.
    if (text.toFile(pathOf(created).c_str()) && flushToDisk(created.get()) && syncfs(created.get()) == 0)
        return 0;
    const int error = errno;
    unlinkat(directory, name, 0);
    return error;
}

} // namespace

int writeInPlace(int directory, const char* name, const String& text) {
    String path(name);
    for (int links = 0; links <= mostLinks; ++links) {
        // O_PATH and O_NOFOLLOW pin the file, so that the file checked is the file written.
        const File target(directory, path.c_str(), O_PATH | O_NOFOLLOW);
        if (!target.isOpen())
            return errno == ENOENT ? createAndWrite(directory, path.c_str(), text) : errno;
        struct stat status;
        if (fstat(target.get(), &status) != 0)
            return errno;
        if (!S_ISLNK(status.st_mode))
            return overwrite(target, S_ISREG(status.st_mode), text);
        if (!follow(target, status.st_uid, path))
            return errno;
    }
    return ELOOP;
}

} // namespace zutl
