#include "zusl_MemIOStream.h"

#include "zusl_Record.h"
#include "zutl_Exception.h"
#include "zutl_File.h"
#include "zutl_Length32.h"
#include "zutl_String.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <new>

namespace zusl {

using zutl::throwError;

namespace {

constexpr unsigned int typeId = 6;
constexpr const char* typeName = "zusl_MemIOStream";
constexpr const char* className = "zusl::MemIOStream";

constexpr std::uint64_t mostBytes = std::numeric_limits<std::uint32_t>::max();

} // namespace

void throwNotWholeRecords() {
    throwError(className, "setBuffer() - resulting memory is not valid.");
}

MemIOStream::MemIOStream(const unsigned int& capacity) {
    if (capacity > 0)
        replaceMemory(capacity);
}

MemIOStream::MemIOStream(const unsigned char* data, const unsigned int& length) : MemIOStream() {
    setBuffer(data, length);
}

MemIOStream::MemIOStream(const MemIOStream& other) : MemIOStream(other.capacity()) {
    copyContent(other);
}

// cppcheck-suppress operatorEqVarError ; openRecord and later belong to a write in progress
MemIOStream& MemIOStream::operator=(const MemIOStream& other) {
    if (this == &other)
        return *this;
    if (other.bufferStart == nullptr) {
        purge();
        return *this;
    }
    if (capacity() != other.capacity())
        discardForMemory(other.capacity());
    copyContent(other);
    return *this;
}

MemIOStream::~MemIOStream() {
    delete[] bufferStart;
}

// Refuses to move or release memory in which an object is being converted.
void MemIOStream::refuseChange() {
    throwError(className, "the stream is being written");
}

// --- Memory

// Moves the content into new memory.
void MemIOStream::replaceMemory(unsigned int newCapacity) {
    requireNoOpenRecord();
    std::unique_ptr<unsigned char[]> memory(new unsigned char[newCapacity]);
    const unsigned int used = size();
    if (used > 0)
        std::memcpy(memory.get(), readPosition, used);
    delete[] bufferStart;
    bufferStart = memory.release();
    bufferEnd = bufferStart + newCapacity;
    readPosition = bufferStart;
    writePosition = bufferStart + used;
}

// Discards the content for new memory, once that is there.
void MemIOStream::discardForMemory(unsigned int wanted) {
    std::unique_ptr<unsigned char[]> memory(new unsigned char[wanted]);
    purge();
    readPosition = writePosition = bufferStart = memory.release();
    bufferEnd = bufferStart + wanted;
}

// The capacity holds the other's content already.
void MemIOStream::copyContent(const MemIOStream& other) {
    requireNoOpenRecord();
    readPosition = bufferStart;
    writePosition = std::copy(other.readPosition, other.writePosition, bufferStart);
}

// The rule by which the stream grows; `n` is wider than a size, so that a record's header can be added to any
// length.
inline void MemIOStream::makeRoom(std::uint64_t n) {
    if (n > static_cast<size_t>(bufferEnd - writePosition))
        moveOrGrow(n);
}

void MemIOStream::moveOrGrow(std::uint64_t n) {
    if (capacity() >= size() + n) {
        defrag();
        return;
    }
    const std::uint64_t newCapacity = 2 * std::uint64_t{capacity()} + n;
    if (newCapacity > mostBytes)
        throw std::bad_alloc();
    replaceMemory(static_cast<unsigned int>(newCapacity));
}

unsigned int MemIOStream::capacity() const {
    return static_cast<unsigned int>(bufferEnd - bufferStart);
}

unsigned int MemIOStream::size() const {
    return static_cast<unsigned int>(writePosition - readPosition);
}

bool MemIOStream::isEmpty() const {
    return readPosition == writePosition;
}

void MemIOStream::getBuffer(const unsigned char*& data, unsigned int& length) const {
    data = size() == 0 ? nullptr : readPosition;
    length = size();
}

void MemIOStream::clear() {
    requireNoOpenRecord();
    readPosition = writePosition = bufferStart;
}

void MemIOStream::purge() {
    requireNoOpenRecord();
    delete[] bufferStart;
    bufferStart = bufferEnd = readPosition = writePosition = nullptr;
}

void MemIOStream::reserve(const unsigned int& wanted) {
    if (wanted > capacity())
        replaceMemory(wanted);
}

void MemIOStream::defrag() {
    if (readPosition == bufferStart)
        return;
    requireNoOpenRecord();
    const unsigned int used = size();
    std::memmove(bufferStart, readPosition, used);
    readPosition = bufferStart;
    writePosition = bufferStart + used;
}

void MemIOStream::checkBuff(const unsigned int& n) {
    makeRoom(n);
}

bool MemIOStream::validate() const {
    return RecordWalk(readPosition, writePosition).isWhole();
}

void MemIOStream::getWriteBuffer(unsigned char*& data, unsigned int n) {
    requireNoOpenRecord();
    makeRoom(n);
    data = writePosition;
    writePosition += n;
}

void MemIOStream::finalizeBuffer(unsigned char*& data, unsigned int n) {
    requireNoOpenRecord();
    const bool isOurs = data != nullptr && data >= bufferStart && data < writePosition;
    if (isOurs && n < static_cast<size_t>(writePosition - data))
        writePosition = std::max(data + n, readPosition);
}

void MemIOStream::setBuffer(const unsigned char* data, const unsigned int& length) {
    const unsigned int newSize = data == nullptr ? 0 : length;
    if (newSize > capacity())
        discardForMemory(newSize);
    else
        clear();
    if (newSize == 0)
        return;
    std::memmove(bufferStart, data, newSize); // the bytes may be the stream's own
    writePosition = bufferStart + newSize;
    if (!validate())
        throwNotWholeRecords();
}

// --- Serializable

unsigned int MemIOStream::getTypeId() const {
    return typeId;
}

std::string MemIOStream::getTypeName() const {
    return typeName;
}

std::string MemIOStream::toXML() const {
    return toXML(typeName);
}

std::string MemIOStream::toXML(const char* /*name*/) const {
    throwError(className, "toXML() - not implemented");
}

bool MemIOStream::fromXML(const char* /*xml*/) {
    throwError(className, "fromXML() - not implemented");
}

unsigned int MemIOStream::getBinLength() const {
    return zutl::to32Bits(static_cast<std::uint64_t>(wholeRecordsEnd() - readPosition) + streamContentOffset);
}

unsigned int MemIOStream::toBin(unsigned char* buffer) const {
    const unsigned int length = MemIOStream::getBinLength();
    zutl::store32(buffer, length - streamContentOffset);
    std::copy_n(readPosition, length - streamContentOffset, buffer + streamContentOffset);
    return length;
}

// The end of the content without the header of a record that is being written, so that an object may contain
// the stream into which it is written.
const unsigned char* MemIOStream::wholeRecordsEnd() const {
    return openRecord != nullptr ? std::max(openRecord, readPosition) : writePosition;
}

unsigned int MemIOStream::fromBin(const unsigned char* data, unsigned int length) {
    const unsigned int contentSize = streamContentSize(data, length);
    setBuffer(data + streamContentOffset, contentSize);
    return getBinLength();
}

// --- Writing

void MemIOStream::flush() {}

unsigned int MemIOStream::close() {
    return write(EndOfFile());
}

unsigned int MemIOStream::write(const Serializable& object) {
    if (openRecord != nullptr)
        return writeLater(object);
    const unsigned int length = object.getBinLength();
    const unsigned int type = object.getTypeId();
    makeRoom(std::uint64_t{length} + recordHeaderSize);
    unsigned char* const start = writePosition;
    unsigned char* const payload = start + recordHeaderSize;
    writeRecordHeader(start, type, length);
    writePosition = payload;
    openRecord = start;
    bool converted = true;
    try {
        object.toBin(payload);
    } catch (...) {
        converted = false;
    }
    openRecord = nullptr;
    writePosition = converted ? payload + length : std::max(start, readPosition);
    if (later != nullptr)
        appendLater();
    if (!converted)
        throwError(className, "couldn't convert object to binary data");
    return recordHeaderSize + length;
}

// Writes the object's record to where it waits for the end of the open one.
unsigned int MemIOStream::writeLater(const Serializable& object) {
    if (later == nullptr)
        later = std::make_unique<MemIOStream>();
    return later->write(object);
}

void MemIOStream::appendLater() {
    const std::unique_ptr<MemIOStream> records = std::move(later);
    makeRoom(records->size());
    writePosition = std::copy(records->readPosition, records->writePosition, writePosition);
}

OStream& MemIOStream::operator<<(const Serializable& object) {
    write(object);
    return *this;
}

OStream& MemIOStream::operator<<(IStream& source) {
    unsigned char* data = nullptr;
    unsigned int length = 0;
    if (!getNextObject(source, data, length))
        return *this;
    const std::unique_ptr<unsigned char[]> owned(data);
    requireNoOpenRecord();
    if (length > 0) {
        makeRoom(length);
        std::memcpy(writePosition, data, length);
        writePosition += length;
    }
    return *this;
}

// --- Reading

namespace {

// Error paths are out of line to keep the hot path small.
[[noreturn, gnu::cold]] void throwUnreadable(const char* operation, const char* reason) {
    throwError(className, zutl::String::fromFormat("%s - %s", operation, reason).c_str());
}

// Hands the payload to the object; `operation` is the one that the error's text names.
inline void decode(const Record record, Serializable& object, const char* operation) {
    try {
        object.fromBin(record.payload, record.length);
    } catch (const std::exception& error) {
        throwUnreadable(operation, error.what());
    } catch (...) {
        throwUnreadable(operation, "could not read object");
    }
}

} // namespace

unsigned int MemIOStream::getNextType() const {
    if (size() == 0)
        return EndOfFile::typeId;
    Record record;
    if (!readRecordHeader(readPosition, size(), record))
        throwError(className, "getNextType() - no data");
    return record.typeId;
}

unsigned int MemIOStream::read(Serializable& object) {
    const unsigned int wanted = object.getTypeId();
    if (wanted == EndOfFile::typeId)
        throwError(className, "read() - trying to read EOF");
    if (getNextType() != wanted)
        throwError(className, "read() - type mismatch");
    Record record;
    if (!readRecord(readPosition, size(), record))
        throwError(className, "read() - no data");
    decode(record, object, "read()");
    // A stream that is read into itself has lost the record with the rest of its content.
    if (&object != this)
        readPosition += record.size();
    return record.size();
}

IStream& MemIOStream::operator>>(Serializable& object) {
    read(object);
    return *this;
}

unsigned int MemIOStream::peek(Serializable& object) const {
    const unsigned int wanted = object.getTypeId();
    if (wanted == EndOfFile::typeId)
        throwError(className, "peek() - trying to read EOF");
    const unsigned int next = getNextType();
    if (next != wanted)
        throwError(className, zutl::String::fromFormat("peek() - type mismatch %d != %d",
                                                       static_cast<int>(next), static_cast<int>(wanted))
                                  .c_str());
    Record record;
    if (!readRecord(readPosition, size(), record))
        throwError(className, "peek() - no data");
    decode(record, object, "peek()");
    return record.size();
}

namespace {

// The objects of a variable argument list: the named one first, then the others. The destructor ends the
// list.
class ObjectList {
public:
    ObjectList(Serializable* first, va_list& started) : next(first), rest(started) {}
    ObjectList(const ObjectList&) = delete;
    ObjectList& operator=(const ObjectList&) = delete;
    // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): the constructor takes a started list
    ~ObjectList() { va_end(rest); }

    Serializable* current() const { return next; }
    void advance() { next = va_arg(rest, Serializable*); }
    // NOLINTEND(clang-analyzer-valist.Uninitialized)

private:
    Serializable* next;
    va_list& rest;
};

} // namespace

unsigned int MemIOStream::peek(unsigned int count, Serializable* first, ...) const {
    va_list arguments;
    va_start(arguments, first);
    ObjectList objects(first, arguments);
    RecordWalk walk(readPosition, writePosition);
    Record record;
    for (unsigned int index = 0; index < count; ++index) {
        if (index > 0)
            objects.advance();
        if (!walk.next(record))
            return 0; // cppcheck-suppress va_end_missing ; the list of objects ends it
        Serializable* const object = objects.current();
        if (object == nullptr)
            continue;
        const unsigned int wanted = object->getTypeId();
        if (wanted == EndOfFile::typeId)
            throwError(className, "peek() - trying to read EOF");
        if (record.typeId != wanted)
            throwError(className, "peek() - type mismatch");
        decode(record, *object, "peek()");
    }
    return walk.distance();
}

bool MemIOStream::checkTypes(unsigned int count, Serializable* first, ...) const {
    Record record;
    if (!readRecordHeader(readPosition, size(), record))
        throwError(className, "checkTypes() - no data");
    va_list arguments;
    va_start(arguments, first);
    ObjectList objects(first, arguments);
    RecordWalk walk(readPosition, writePosition);
    for (unsigned int index = 0; index < count; ++index) {
        if (index > 0)
            objects.advance();
        const Serializable* const object = objects.current();
        if (!walk.next(record) || (object != nullptr && record.typeId != object->getTypeId()))
            return false; // cppcheck-suppress va_end_missing ; the list of objects ends it
    }
    return true;
}

unsigned int MemIOStream::count() const {
    if (size() < recordHeaderSize)
        return 0;
    RecordWalk walk(readPosition, writePosition);
    Record record;
    unsigned int records = 0;
    while (walk.next(record))
        ++records;
    return walk.isAtEnd() ? records : records + 1;
}

unsigned int MemIOStream::skip() {
    Record record;
    if (!readRecord(readPosition, size(), record))
        throwError(className, "skip() - no data");
    readPosition += record.size();
    return record.size();
}

bool MemIOStream::readNextObject(unsigned char*& /*data*/, unsigned int& /*length*/) {
    throwError(className, "readNextObject() - not implemented");
}

// --- Files

bool MemIOStream::save(const char* path) const {
    const zutl::File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    return file.isOpen() && zutl::writeAll(file.get(), readPosition, size());
}

bool MemIOStream::load(const char* path) {
    const zutl::File file(path, O_RDONLY);
    std::uint64_t fileSize = 0;
    if (!file.isOpen() || !zutl::sizeOf(file.get(), fileSize) || fileSize > mostBytes)
        return false;
    const unsigned int newSize = static_cast<unsigned int>(fileSize);
    if (newSize > capacity())
        discardForMemory(newSize);
    else
        clear();
    if (!zutl::readAll(file.get(), writePosition, newSize))
        return false;
    writePosition += newSize;
    return validate();
}

} // namespace zusl
