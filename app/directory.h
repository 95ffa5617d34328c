#pragma once
// Reading the names in a directory with the kernel's own call: the C library's reader asks for the
// directory's status and takes 32 KB of memory first.

#include "zutl_File.h"

#include <array>

// The names in a directory, "." and ".." among them.
class Directory {
public:
    // Of a directory that cannot be opened there are no names.
    explicit Directory(const char* path);
    bool isOpen() const { return file.isOpen(); }

    // The next name, which stays until the next call; null after the last, or when the directory cannot be
    // read any more.
    const char* next();

private:
    zutl::File file;
    size_t position = 0; // of the next entry in the block
    size_t filled = 0;
    alignas(8) std::array<char, 8192> block;
};
