#pragma once
// The walk over the bytes of a file. It goes as far as the library's readers would, and says where they would
// not.

#include "visitor.h"

namespace dump {

// What the bytes are: an object file, the records of a saved stream, or the bare form of the type.
struct Layout {
    enum Kind { objectFile, savedStream, form } kind;
    unsigned int typeId = 0;
};

// Neither kind of file has a mark. Behind the type id a record has two bytes of 0, an object file the lower
// half of its length.
Layout layoutOf(Block file);

// Tells the visitor of a file. Whether it is whole.
bool walk(std::string_view path, Block file, const Layout& layout, Visitor& visitor);

} // namespace dump
