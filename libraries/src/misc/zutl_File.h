#pragma once
// Reading and writing with system calls: bytes have reached the file when a call returns, so a full device is
// reported at once and no buffer is lost at closing. Interrupted calls are repeated, and on a non-blocking
// descriptor the calls wait.

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace zutl {

// Writes all bytes. Returns false, with errno set, on an error.
[[nodiscard]] bool writeAll(int descriptor, const void* bytes, size_t length);

// Reads up to length bytes with one successful read(2). Returns the number of bytes, 0 at the end of the
// file, -1 with errno set on an error.
ssize_t readSome(int descriptor, void* buffer, size_t length);

// Reads exactly length bytes. Returns false if there are fewer, or on an error.
[[nodiscard]] bool readAll(int descriptor, void* buffer, size_t length);

// Stores the size in bytes of a regular file. Returns false for anything else.
[[nodiscard]] bool sizeOf(int descriptor, std::uint64_t& size);

// Flushes the file to disk with fsync(2). Returns false, with errno set, on an error. A file or file system
// that cannot be flushed is no error.
[[nodiscard]] bool flushToDisk(int descriptor);

// An open descriptor, closed by the destructor. Programs that are started do not inherit it.
class File {
public:
    // Opens as open(2) does; a new file gets the mode, less the process's umask. If isOpen() returns false,
    // errno has the reason.
    File(const char* path, int flags, mode_t mode = 0666);
    // As the constructor above, with a path relative to the open directory.
    File(int directory, const char* path, int flags, mode_t mode = 0666);

    // Takes the descriptor of a temporary.
    File(File&& other) noexcept : descriptor(other.descriptor) { other.descriptor = -1; }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    // Returns true if there is an open descriptor.
    bool isOpen() const { return descriptor >= 0; }

    // Returns the descriptor, which the object keeps; -1 if it is not open.
    int get() const { return descriptor; }

private:
    int descriptor;
};

} // namespace zutl
