#pragma once
// zusl::MemIOStream: a growing block of memory that holds a sequence of object records, first in, first out.

#include "zusl_Stream.h"

#include <cstdint>
#include <memory>

namespace zusl {

// Writers append records at the end, readers take them from the start in the same order. zusl_Record.h has
// the layout of a record. Sizes are 32-bit numbers of bytes; that some are passed as const unsigned int& is
// imposed by the published interface. The stream owns its memory and is used by one thread at a time.
//
// Errors are zutl::Exceptions located in zusl_MemIOStream with the class "zusl::MemIOStream" and the texts
// below. An operation that throws leaves the stream unchanged unless it says otherwise. std::bad_alloc is
// thrown if memory runs out or the stream would grow beyond 32 bits. Content that is not whole records (after
// a failed load, a throwing setBuffer, raw writes) is never read beyond its end.
class MemIOStream : public Serializable, public IOStream {
public:
    // Creates an empty stream and allocates exactly `capacity` bytes, none for 0.
    MemIOStream(const unsigned int& capacity = 0);

    // Creates a stream with a copy of the bytes. Throws what setBuffer throws.
    MemIOStream(const unsigned char* data, const unsigned int& length);

    // Copies the capacity and the unread content.
    MemIOStream(const MemIOStream& other);

    // Assigns as the copy constructor copies.
    MemIOStream& operator=(const MemIOStream& other);
    ~MemIOStream() override;

    // --- Serializable

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // Throws "toXML() - not implemented".
    std::string toXML() const override;

    // Throws "toXML() - not implemented".
    std::string toXML(const char* name) const override;

    // Throws "fromXML() - not implemented".
    bool fromXML(const char* xml) override;

    // Returns size() + 4. Throws std::bad_alloc if that exceeds 32 bits.
    unsigned int getBinLength() const override;

    // Writes the size of the content in 4 bytes, then the content, which is not consumed. Throws what
    // getBinLength throws.
    unsigned int toBin(unsigned char* buffer) const override;

    // Replaces the content. Throws "zusl::Serializable::fromBin() - Failed!", with the content unchanged, if
    // the encoding is longer than `length`; otherwise what setBuffer throws.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // --- Writing

    // Does nothing: a memory stream buffers nothing.
    void flush() override;

    // Appends an EndOfFile record and returns its size, 8. The stream remains writable.
    unsigned int close() override;

    // Appends the object's record and returns its size. While the object's toBin runs, the record's header is
    // the end of the content, which may be read but not changed, except by write: the records that toBin
    // itself writes to this stream follow the object's record. Throws "couldn't convert object to binary
    // data" if toBin throws, or calls another operation that appends to, moves or discards the content; and
    // what getBinLength throws. The object's record is then removed.
    unsigned int write(const Serializable& object) override;

    // Like write(object). Returns this stream.
    OStream& operator<<(const Serializable& object) override;

    // --- Reading

    // Returns the type id of the next record; 1, that of EndOfFile, if the stream is empty. Throws
    // "getNextType() - no data" if the content is shorter than a header.
    unsigned int getNextType() const override;

    // Returns true if the next `count` records exist and have the types of the `count` objects; a null
    // pointer means any type. Throws "checkTypes() - no data" if the content is empty or shorter than a
    // header. Requires that all objects after the first are passed as Serializable*, here and in peek.
    virtual bool checkTypes(unsigned int count, Serializable* first, ...) const;

    bool isEmpty() const override;

    // Decodes the next record into the object and consumes it. Returns the record's size. Throws, without
    // consuming the record: "read() - trying to read EOF" for an EndOfFile object, "read() - type mismatch"
    // if the record is of another type, "read() - no data" if it extends beyond the content, "read() - " and
    // the message of the object's fromBin, "read() - could not read object" for any other exception of it,
    // and what getNextType throws.
    unsigned int read(Serializable& object) override;

    // Like read, but does not consume the record. Throws the same errors with "peek()" for "read()", and the
    // two type ids in "peek() - type mismatch %d != %d".
    virtual unsigned int peek(Serializable& object) const;

    // Decodes the next `count` records into the `count` objects without consuming them; a null pointer skips
    // a record. Returns their total size, or 0 if there are fewer records, with the objects up to then
    // filled. Throws what peek of one object throws, but "peek() - type mismatch" without ids.
    virtual unsigned int peek(unsigned int count, Serializable* first, ...) const;

    // Returns the number of records. An incomplete record at the end counts, unless the whole content is
    // shorter than a header.
    virtual unsigned int count() const;

    // Consumes the next record, whatever its type. Returns its size. Throws "skip() - no data" if there is
    // none.
    unsigned int skip() override;

    IStream& operator>>(Serializable& object) override;

    // Throws "readNextObject() - not implemented".
    bool readNextObject(unsigned char*& data, unsigned int& length) override;

    // Appends the raw records that getNextObject takes from the source. Throws if the source is a
    // MemIOStream.
    OStream& operator<<(IStream& source) override;

    // --- Memory

    // Returns the number of bytes allocated.
    unsigned int capacity() const;

    // Returns the number of bytes that have not been read.
    unsigned int size() const;

    // Stores the address and size of the content, null and 0 if it is empty. Valid until the next operation
    // that changes the stream.
    void getBuffer(const unsigned char*& data, unsigned int& length) const;

    // Empties the stream and keeps its memory.
    void clear();

    // Empties the stream and frees its memory.
    void purge();

    // Grows the memory to exactly `capacity` bytes; does nothing if it already has that many.
    void reserve(const unsigned int& capacity);

    // Moves the content to the start of the memory.
    void defrag();

    // Makes room for n more bytes. If the capacity is too small, allocates twice the capacity plus n.
    // Otherwise, if the room after the content is too small, moves the content to the start of the memory.
    void checkBuff(const unsigned int& n);

    // Returns true if the content is whole records.
    bool validate() const;

    // Appends n bytes, which the caller fills before any other operation, and sets `data` to them.
    void getWriteBuffer(unsigned char*& data, unsigned int n);

    // Ends the content n bytes after `data`, which getWriteBuffer has set, if it extends further: the caller
    // used only n bytes. What was read stays read.
    void finalizeBuffer(unsigned char*& data, unsigned int n);

    // Replaces the content by a copy of the bytes, also of bytes of its own; null or no bytes empty it.
    // Throws "setBuffer() - resulting memory is not valid." when they are not whole records; they then stay
    // in the stream.
    void setBuffer(const unsigned char* data, const unsigned int& length);

    // --- Files: the content and nothing else

    // Creates or truncates the file and writes the content. Returns true once all bytes have reached the
    // file.
    bool save(const char* path) const;

    // Replaces the content by that of the file. Returns false, with the content unchanged, if the file cannot
    // be opened or its size is unknown or beyond 32 bits; false, with the stream empty, if it cannot be read;
    // false, with its bytes in the stream, if they are not whole records.
    bool load(const char* path);

private:
    [[noreturn, gnu::cold]] static void refuseChange();
    void requireNoOpenRecord() const {
        if (openRecord != nullptr)
            refuseChange();
    }
    const unsigned char* wholeRecordsEnd() const;
    [[gnu::cold]] unsigned int writeLater(const Serializable& object);
    [[gnu::cold]] void appendLater();
    void replaceMemory(unsigned int newCapacity);
    void discardForMemory(unsigned int wanted);
    void copyContent(const MemIOStream& other);
    void makeRoom(std::uint64_t n);
    void moveOrGrow(std::uint64_t n);

    unsigned char* bufferStart = nullptr;
    unsigned char* bufferEnd = nullptr;
    unsigned char* readPosition = nullptr;
    unsigned char* writePosition = nullptr;
    unsigned char* openRecord = nullptr; // the record whose object is being converted
    std::unique_ptr<MemIOStream> later;  // the records that this object writes to the stream meanwhile
};

} // namespace zusl
