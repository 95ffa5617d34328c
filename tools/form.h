#pragma once
// The binary forms in a stretch of a file's bytes, and the types they belong to.

#include "zutl_Integer.h"

#include <string>

namespace dump {

struct Block {
    const unsigned char* from;
    unsigned int length;

    void skip(unsigned int bytes) { from += bytes, length -= bytes; }
};

// Reads the object from the beginning of the block and steps over its form; false when its reader refuses.
bool take(zusl::Serializable& object, Block& block);

// The same for an integer in a record.
bool takeRecord(zutl::Integer& number, Block& block);

enum class Shape { unknown, marker, text, integer, stream, list, map };

struct Type {
    unsigned int id;
    Shape shape;
    std::string name;       // empty when unknown
    unsigned int inner = 0; // the id of a list's elements, of a map's values

    bool isContainer() const { return shape >= Shape::stream; }
};

// By the ids of the library's classes and the rules for its containers. These give some ids both to a list
// and to a map; then the form decides, and without one it is a map.
Type typeOf(unsigned int id, Block form);

} // namespace dump
