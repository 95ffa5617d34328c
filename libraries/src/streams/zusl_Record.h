#pragma once
// The record in which a stream carries one object:
//
//     offset  size
//     0       2     type id
//     2       2     reserved, 0
//     4       4     L, the length of the payload
//     8       L     the payload, the object's binary form
//
// Records follow each other with nothing between them. The binary form of a stream is its content behind its
// size:
//
//     offset  size
//     0       4     N, the size of the content
//     4       N     the content: whole records

#include "zusl_Serializable.h"
#include "zutl_ByteOrder.h"

#include <cstddef>

namespace zusl {

// Where the fields of a record's header stand, and how long it is, in bytes.
constexpr size_t recordTypeOffset = 0;
constexpr size_t recordReservedOffset = 2;
constexpr size_t recordLengthOffset = 4;
constexpr unsigned int recordHeaderSize = 8;

// Where the content stands in a stream's binary form.
constexpr unsigned int streamContentOffset = 4;

// A record that lies whole in a block of bytes.
struct Record {
    unsigned int typeId;
    unsigned int length; // of the payload
    const unsigned char* payload;

    unsigned int size() const { return recordHeaderSize + length; }
};

inline void writeRecordHeader(unsigned char* to, unsigned int typeId, unsigned int length) {
    zutl::store16(to + recordTypeOffset, static_cast<std::uint16_t>(typeId));
    zutl::store16(to + recordReservedOffset, 0);
    zutl::store32(to + recordLengthOffset, length);
}

// Reads the header at the beginning of the block; false when the block is shorter. The payload may run past
// the block.
inline bool readRecordHeader(const unsigned char* from, size_t available, Record& record) {
    if (available < recordHeaderSize)
        return false;
    record.typeId = zutl::load16(from + recordTypeOffset);
    record.length = zutl::load32(from + recordLengthOffset);
    record.payload = from + recordHeaderSize;
    return true;
}

// Reads the record at the beginning of the block; false when the block does not hold it whole.
inline bool readRecord(const unsigned char* from, size_t available, Record& record) {
    return readRecordHeader(from, available, record) && record.length <= available - recordHeaderSize;
}

// Walks the records in a block of bytes.
class RecordWalk {
public:
    RecordWalk(const unsigned char* from, const unsigned char* to) : start(from), position(from), end(to) {}

    // Steps over the next record; false when the block does not hold it whole.
    bool next(Record& record) {
        if (!readRecord(position, static_cast<size_t>(end - position), record))
            return false;
        position = record.payload + record.length;
        return true;
    }

    bool isAtEnd() const { return position == end; }

    // Whether whole records are all that lies ahead.
    bool isWhole() const {
        RecordWalk ahead = *this;
        Record record;
        while (ahead.next(record)) {
        }
        return ahead.isAtEnd();
    }

    // The bytes stepped over.
    unsigned int distance() const { return static_cast<unsigned int>(position - start); }

private:
    const unsigned char* const start;
    const unsigned char* position;
    const unsigned char* const end;
};

// Throws the located error of a stream that was given bytes which are not whole records.
[[noreturn, gnu::cold]] void throwNotWholeRecords();

// The size of the content in a stream's binary form. Throws "zusl::Serializable::fromBin() - Failed!" when
// the form is longer than `length`.
inline unsigned int streamContentSize(const unsigned char* data, unsigned int length) {
    if (length < streamContentOffset)
        throwFromBinFailed();
    const unsigned int size = zutl::load32(data);
    if (size > length - streamContentOffset)
        throwFromBinFailed();
    return size;
}

} // namespace zusl
