#pragma once
// Decoding of objects from a block of bytes, and the types that type ids mean.

#include "zutl_Integer.h"

#include <string>

namespace dump {

struct Block {
    const unsigned char* from;
    unsigned int length;

    void skip(unsigned int bytes) { from += bytes, length -= bytes; }
};

// Decodes the object from the start of the block and removes its bytes from the block. Returns false, with
// the block unchanged, if the object's reader refuses the bytes.
[[nodiscard]] bool take(zusl::Serializable& object, Block& block);

// Decodes a whole record that holds an integer and removes it from the block. Returns false if the block does
// not start with such a record.
[[nodiscard]] bool takeRecord(zutl::Integer& number, Block& block);

enum class Shape { unknown, marker, text, integer, stream, list, map };

struct Type {
    unsigned int id;
    Shape shape;
    std::string name;       // empty if unknown
    unsigned int inner = 0; // type id of a list's elements or a map's values

    bool isContainer() const { return shape >= Shape::stream; }
};

// Returns the type that `id` means. Some ids mean both a list and a map; `encoding`, the bytes of the object,
// then decides, and without them it is a map.
Type typeOf(unsigned int id, Block encoding);

} // namespace dump
