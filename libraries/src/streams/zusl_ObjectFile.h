#pragma once
// The layout of a file that holds one object:
//
//     offset  size
//     0       2     type id
//     2       4     N, the length of the encoding
//     6       N     the object's binary encoding

namespace zusl {

// Offsets of the fields in the file's header, and the header's size, in bytes.
constexpr unsigned int objectFileTypeOffset = 0;
constexpr unsigned int objectFileLengthOffset = 2;
constexpr unsigned int objectFileHeaderSize = 6;

} // namespace zusl
