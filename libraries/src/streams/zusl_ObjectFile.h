#pragma once
// The file that holds one object:
//
//     offset  size
//     0       2     type id
//     2       4     N, the length of the binary form
//     6       N     the binary form

namespace zusl {

// Where the fields of the file's header stand, and how long it is, in bytes.
constexpr unsigned int objectFileTypeOffset = 0;
constexpr unsigned int objectFileLengthOffset = 2;
constexpr unsigned int objectFileHeaderSize = 6;

} // namespace zusl
