#pragma once
// Reading and writing through the kernel's own calls: what was handed over has reached the file when a call
// returns, so a full device shows at once and nothing is lost in a buffer at closing. Interrupted calls are
// repeated.

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace zutl {

// Writes all the bytes; false, with errno set, when the descriptor could not take them.
bool writeAll(int descriptor, const void* bytes, size_t length);

// Reads what one call gives, up to length bytes: 0 at the end of the file, -1 with errno set on an error.
ssize_t readSome(int descriptor, void* buffer, size_t length);

// Reads exactly length bytes; false when there are fewer or on an error.
bool readAll(int descriptor, void* buffer, size_t length);

// The size in bytes of a regular file; false for anything else, whose size cannot be told.
bool sizeOf(int descriptor, std::uint64_t& size);

// An open file, closed when the object goes. It is not handed on to programs that are started.
class File {
public:
    // Opens with the flags of open(2); a new file gets the mode, less the process's umask. Check isOpen():
    // errno tells the reason.
    File(const char* path, int flags, mode_t mode = 0666);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    bool isOpen() const { return descriptor >= 0; }
    int get() const { return descriptor; }

private:
    int descriptor;
};

} // namespace zutl
