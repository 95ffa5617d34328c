#pragma once
// Reading the names in a directory with getdents64(2): the C library's reader makes one more system call and
// allocates 32 KB first.

#include "zutl_File.h"

#include <array>

namespace zutl {

// An open directory.
class Directory {
public:
    // If isOpen() returns false, errno has the reason.
    explicit Directory(const char* path);
    // Takes over the descriptor of a directory.
    explicit Directory(File opened) : file(static_cast<File&&>(opened)) {}

    bool isOpen() const { return file.isOpen(); }
    // The descriptor, for calls relative to the directory.
    int get() const { return file.get(); }

    // Returns the next name, "." and ".." included; valid until the next call. Null after the last name, or
    // if the directory cannot be read.
    const char* next();

private:
    File file;
    size_t position = 0; // of the next entry in the block
    size_t filled = 0;
    alignas(8) std::array<char, 8192> block;
};

} // namespace zutl
