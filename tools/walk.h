#pragma once
// Walks over the bytes of a file as far as the library's readers would, and reports where they would stop.

#include "visitor.h"

namespace dump {

// What a file holds: an object file, the records of a saved stream, or the bare encoding of an object of type
// `typeId`.
struct Layout {
    enum Kind { objectFile, savedStream, bareObject } kind;
    unsigned int typeId = 0;
};

// Guesses whether the file is an object file or a saved stream. Neither has a magic number, but after the
// type id a record has two zero bytes and an object file the lower half of its length.
Layout layoutOf(Block file);

// Reports the file to the visitor. Returns true if it is whole.
[[nodiscard]] bool walk(std::string_view path, Block file, const Layout& layout, Visitor& visitor);

} // namespace dump
