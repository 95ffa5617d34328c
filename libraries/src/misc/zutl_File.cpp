#include "zutl_File.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zutl {

namespace {

// Returns true if the call that failed should be repeated. Waits until a non-blocking descriptor is ready.
bool shouldRepeat(int descriptor, short event) {
    if (errno == EINTR)
        return true;
    if (errno != EAGAIN)
        return false;
    pollfd waiting{descriptor, event, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

bool writeAll(int descriptor, const void* bytes, size_t length) {
    const char* next = static_cast<const char*>(bytes);
    while (length > 0) {
        const ssize_t written = write(descriptor, next, length);
        if (written < 0 && shouldRepeat(descriptor, POLLOUT))
            continue;
        if (written <= 0)
            return false;
        next += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

ssize_t readSome(int descriptor, void* buffer, size_t length) {
    ssize_t received;
    do
        received = read(descriptor, buffer, length);
    while (received < 0 && shouldRepeat(descriptor, POLLIN));
    return received;
}

bool readAll(int descriptor, void* buffer, size_t length) {
    char* next = static_cast<char*>(buffer);
    while (length > 0) {
        const ssize_t received = readSome(descriptor, next, length);
        if (received <= 0)
            return false;
        next += received;
        length -= static_cast<size_t>(received);
    }
    return true;
}

bool sizeOf(int descriptor, std::uint64_t& size) {
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool flushToDisk(int descriptor) {
    int result;
    do
        result = fsync(descriptor);
    while (result != 0 && errno == EINTR);
    return result == 0 || errno == EINVAL;
}

File::File(const char* path, int flags, mode_t mode) : File(AT_FDCWD, path, flags, mode) {}

File::File(int directory, const char* path, int flags, mode_t mode) {
    do
        descriptor = openat(directory, path != nullptr ? path : "", flags | O_CLOEXEC, mode);
    while (descriptor < 0 && errno == EINTR);
}

File::~File() {
    // Not repeated if interrupted: the descriptor is closed even then.
    if (isOpen())
        close(descriptor);
}

} // namespace zutl
