#pragma once
// The interfaces of object streams, which carry serializable objects as typed records, and the end-of-stream
// marker.

#include "zusl_Serializable.h"

namespace zusl {

// The input side of an object stream.
class IStream {
public:
    virtual ~IStream() = default;

    // Polls once per millisecond until the stream is not empty. Returns true if it is not, false if the
    // timeout (milliseconds; 0xFFFFFFFF means none) expires first. The timeout is checked first, so wait(0)
    // returns false even if there is data.
    virtual bool wait(unsigned int timeoutMs) const;

    // Returns the type id of the next record without consuming it; that of EndOfFile if the stream is empty.
    virtual unsigned int getNextType() const = 0;

    // Returns true if the next record is an EndOfFile, false on an empty stream. Throws what getNextType
    // throws.
    virtual bool isEOF() const;

    // Returns true if there is nothing to read.
    virtual bool isEmpty() const = 0;

    // Decodes the next record into `object` and consumes it. Returns the number of bytes consumed. Throws if
    // the record is not of the object's type.
    virtual unsigned int read(Serializable& object) = 0;

    // Consumes the next record without decoding it. Returns the number of bytes consumed.
    virtual unsigned int skip() = 0;

    // Like read(object). Returns this stream.
    virtual IStream& operator>>(Serializable& object) = 0;

    // Takes the next records as raw bytes. Returns true, with `data` a new array of `length` bytes of whole
    // records that the caller frees with delete[]; false, with `data` not owned by the caller, if nothing was
    // taken.
    virtual bool readNextObject(unsigned char*& data, unsigned int& length) = 0;
};

// The output side of an object stream.
class OStream {
public:
    virtual ~OStream() = default;

    // Writes out what the stream has buffered.
    virtual void flush() = 0;

    // Appends an EndOfFile record. Returns the number of bytes appended.
    virtual unsigned int close() = 0;

    // Appends the object's record. Returns the number of bytes appended.
    virtual unsigned int write(const Serializable& object) = 0;

    // Like write(object). Returns this stream.
    virtual OStream& operator<<(const Serializable& object) = 0;

    // Appends the raw records that getNextObject takes from `source`. Returns this stream.
    virtual OStream& operator<<(IStream& source) = 0;

    // Calls source.readNextObject(data, length) and returns its result, unless a derived class overrides it.
    virtual bool getNextObject(IStream& source, unsigned char*& data, unsigned int& length);
};

// An object stream for input and output.
class IOStream : public IStream, public OStream {};

// Marks the end of a stream's output. It has no content; readers recognise it with IStream::isEOF and cannot
// read it.
class EndOfFile : public Serializable {
public:
    // The result of getTypeId().
    static constexpr unsigned int typeId = 1;

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // Returns <zusl_EndOfFile/>.
    std::string toXML() const override;

    // Returns an empty element called `name`, or an empty text for a null name.
    std::string toXML(const char* name) const override;

    // Returns true for every text.
    bool fromXML(const char* xml) override;

    // Returns 0: the marker has no bytes.
    unsigned int getBinLength() const override;

    // Writes nothing and returns 0.
    unsigned int toBin(unsigned char* buffer) const override;

    // Reads nothing and returns 0.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;
};

} // namespace zusl
