#pragma once
// The record in which a stream carries one object:
//
//     offset  size
//     0       2     type id
//     2       2     reserved, 0
//     4       4     L, the length of the payload
//     8       L     the payload: the object's binary encoding
//
// Records follow each other without padding. The binary encoding of a stream is the size of its content, then
// the content:
//
//     offset  size
//     0       4     N, the size of the content
//     4       N     the content: whole records

#include "zusl_Serializable.h"
#include "zutl_ByteOrder.h"

#include <cstddef>

namespace zusl {

// Offset of the type id, in bytes.
constexpr size_t recordTypeOffset = 0;

// Offset of the reserved field, in bytes.
constexpr size_t recordReservedOffset = 2;

// Offset of the payload's length, in bytes.
constexpr size_t recordLengthOffset = 4;

// Size of a record's header, in bytes.
constexpr unsigned int recordHeaderSize = 8;

// Offset of the content in a stream's encoding, in bytes.
constexpr unsigned int streamContentOffset = 4;

// A record in a block of bytes.
struct Record {
    unsigned int typeId;          // of the object
    unsigned int length;          // of the payload, in bytes
    const unsigned char* payload; // in the block, not owned

    // Returns the number of bytes of header and payload.
    unsigned int size() const { return recordHeaderSize + length; }
};

// Writes a record's header. Requires recordHeaderSize bytes.
inline void writeRecordHeader(unsigned char* to, unsigned int typeId, unsigned int length) {
    zutl::store16(to + recordTypeOffset, static_cast<std::uint16_t>(typeId));
    zutl::store16(to + recordReservedOffset, 0);
    zutl::store32(to + recordLengthOffset, length);
}

// Reads the header at the start of the block. Returns false if the block is shorter. The payload may extend
// beyond the block.
inline bool readRecordHeader(const unsigned char* from, size_t available, Record& record) {
    if (available < recordHeaderSize)
        return false;
    record.typeId = zutl::load16(from + recordTypeOffset);
    record.length = zutl::load32(from + recordLengthOffset);
    record.payload = from + recordHeaderSize;
    return true;
}

// Reads the record at the start of the block. Returns false if the block does not hold all of it.
inline bool readRecord(const unsigned char* from, size_t available, Record& record) {
    return readRecordHeader(from, available, record) && record.length <= available - recordHeaderSize;
}

// Iterates over the records in a block of bytes.
class RecordWalk {
public:
    // Starts at `from`; the block ends before `to`.
    RecordWalk(const unsigned char* from, const unsigned char* to) : start(from), position(from), end(to) {}

    // Moves past the next record. Returns false if the block does not hold all of it.
    bool next(Record& record) {
        if (!readRecord(position, static_cast<size_t>(end - position), record))
            return false;
        position = record.payload + record.length;
        return true;
    }

    // Returns true if nothing is left.
    bool isAtEnd() const { return position == end; }

    // Returns true if the rest of the block is whole records.
    bool isWhole() const {
        RecordWalk ahead = *this;
        Record record;
        while (ahead.next(record)) {
        }
        return ahead.isAtEnd();
    }

    // Returns the number of bytes moved past.
    unsigned int distance() const { return static_cast<unsigned int>(position - start); }

private:
    const unsigned char* const start;
    const unsigned char* position;
    const unsigned char* const end;
};

// Throws the error of a stream that was given bytes which are not whole records.
[[noreturn, gnu::cold]] void throwNotWholeRecords();

// Returns the size of the content in a stream's encoding. Throws "zusl::Serializable::fromBin() - Failed!" if
// the encoding is longer than `length`.
inline unsigned int streamContentSize(const unsigned char* data, unsigned int length) {
    if (length < streamContentOffset)
        throwFromBinFailed();
    const unsigned int size = zutl::load32(data);
    if (size > length - streamContentOffset)
        throwFromBinFailed();
    return size;
}

} // namespace zusl
