#pragma once
// zusl::MemIOStream: a growing block of memory that holds a sequence of object records, first in, first out.

#include "zusl_Stream.h"

#include <cstdint>

namespace zusl {

// Writers append records at its end, readers take them from its beginning in the same order. Sizes are in
// bytes, 32 bits wide. The stream owns its memory; one thread at a time uses it.
//
// Errors are zutl::Exceptions located in zusl_MemIOStream with the class "zusl::MemIOStream" and the texts
// below. An operation that throws leaves the stream as it was, unless it says otherwise. Memory that runs
// out, and growth beyond 32 bits, throw std::bad_alloc. Content that is not whole records (after a failed
// load, a throwing setBuffer, raw writes) is never read beyond its end.
class MemIOStream : public Serializable, public IOStream {
public:
    // No memory for capacity 0, else exactly that much.
    explicit MemIOStream(const unsigned int& capacity = 0);

    // Holds a copy of the bytes; throws what setBuffer throws.
    MemIOStream(const unsigned char* data, const unsigned int& length);

    // A copy has the source's capacity and its content; what was read from the source is not copied.
    MemIOStream(const MemIOStream& other);
    MemIOStream& operator=(const MemIOStream& other);
    ~MemIOStream() override;

    // --- Serializable
    // --------------------------------------------------------------------------------------------

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // Not supported: throw "toXML() - not implemented" and "fromXML() - not implemented".
    std::string toXML() const override;
    std::string toXML(const char* name) const override;
    bool fromXML(const char* xml) override;

    // The binary form: the size of the content in 4 bytes, then the content. Nothing is consumed by writing
    // it. Reading it throws "zusl::Serializable::fromBin() - Failed!" when `length` is shorter than the form,
    // else what setBuffer throws.
    unsigned int getBinLength() const override;
    unsigned int toBin(unsigned char* buffer) const override;
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // --- Writing
    // -------------------------------------------------------------------------------------------------

    // Nothing is held back.
    void flush() override;

    // Appends an EndOfFile record: 8 bytes. The stream can be written on.
    unsigned int close() override;

    // Append the object's record. write returns its size. Throw "couldn't convert object to binary data" when
    // the object's toBin throws, and what its getBinLength throws.
    unsigned int write(const Serializable& object) override;
    OStream& operator<<(const Serializable& object) override;

    // --- Reading
    // -------------------------------------------------------------------------------------------------

    // The type id of the next record; 1, that of EndOfFile, on an empty stream. Throws "getNextType() - no
    // data" when the content is shorter than a header.
    unsigned int getNextType() const override;

    // Whether the next `count` records are there and of the types of the `count` objects; a null pointer
    // stands for any type. Throws "checkTypes() - no data" when the content is empty or shorter than a
    // header. The objects behind the first must be passed as Serializable*, here as in peek.
    virtual bool checkTypes(unsigned int count, Serializable* first, ...) const;

    bool isEmpty() const override;

    // Decodes the next record into the object and consumes it. Returns the record's size. Throws
    // "read() - trying to read EOF" for an EndOfFile object, "read() - type mismatch" when the record is of
    // another type, "read() - no data" when it runs past the content, "read() - " and what the object's
    // fromBin said, or "read() - could not read object"; and what getNextType throws. The record then stays.
    unsigned int read(Serializable& object) override;

    // Decodes the next record and leaves it. As read, with "peek()" for "read()", and the two type ids in
    // "peek() - type mismatch %d != %d".
    virtual unsigned int peek(Serializable& object) const;

    // Decodes the next `count` records into the `count` objects and leaves them; a null pointer passes a
    // record over. Returns their size, or 0 when fewer are there (the objects before are then filled). Throws
    // as peek of one object, but "peek() - type mismatch" without ids.
    virtual unsigned int peek(unsigned int count, Serializable* first, ...) const;

    // The number of records; a piece of one at the end counts, unless the whole content is shorter than a
    // header.
    virtual unsigned int count() const;

    // Consumes the next record, whatever its type. Returns its size. Throws "skip() - no data" when there is
    // none.
    unsigned int skip() override;

    IStream& operator>>(Serializable& object) override;

    // Not supported: throws "readNextObject() - not implemented".
    bool readNextObject(unsigned char*& data, unsigned int& length) override;

    // Appends the raw records that the source gives; another memory stream gives none but throws.
    OStream& operator<<(IStream& source) override;

    // --- Memory
    // --------------------------------------------------------------------------------------------------

    unsigned int capacity() const;
    unsigned int size() const;

    // The content and its size, both zero when it is empty. Valid until the next operation that changes the
    // stream.
    void getBuffer(const unsigned char*& data, unsigned int& length) const;

    // Empties the stream and keeps its memory, or gives it back.
    void clear();
    void purge();

    // Grows to exactly this capacity; a smaller one changes nothing.
    void reserve(const unsigned int& capacity);

    // Moves the content to the beginning of the memory.
    void defrag();

    // Makes room for n more bytes. When the capacity does not hold them: new memory of twice the capacity and
    // n. When only the room behind the content is too small: moves the content to the beginning.
    void checkBuff(const unsigned int& n);

    // Whether the content is whole records.
    bool validate() const;

    // Appends n bytes that the caller fills before any other operation; finalizeBuffer takes back those of
    // them that were not used, n being the number used.
    void getWriteBuffer(unsigned char*& data, unsigned int n);
    void finalizeBuffer(unsigned char*& data, unsigned int n);

    // Replaces the content by a copy of the bytes, also of bytes of its own; null or no bytes empty it.
    // Throws "setBuffer() - resulting memory is not valid." when they are not whole records; they then stay
    // in the stream.
    void setBuffer(const unsigned char* data, const unsigned int& length);

    // --- Files: the content and nothing else
    // ---------------------------------------------------------------------

    // True when all of the content reached the file, which is created or cut to zero length first.
    bool save(const char* path) const;

    // False, with the content unchanged, when the file cannot be opened, has no size or one beyond 32 bits;
    // false, with the stream empty, when it cannot be read; false, with its bytes in the stream, when they
    // are not whole records.
    bool load(const char* path);

private:
    void replaceMemory(unsigned int newCapacity);
    void discardForMemory(unsigned int wanted);
    void copyContent(const MemIOStream& other);
    void makeRoom(std::uint64_t n);
    void moveOrGrow(std::uint64_t n);
    [[noreturn, gnu::cold]] void refuseRead(unsigned int wanted) const;

    unsigned char* bufferStart = nullptr;
    unsigned char* bufferEnd = nullptr;
    unsigned char* readPosition = nullptr;
    unsigned char* writePosition = nullptr;
};

} // namespace zusl
