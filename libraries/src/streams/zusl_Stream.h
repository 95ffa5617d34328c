#pragma once
// The interfaces of object streams, which carry serializable objects as typed records, and the marker of
// their end.

#include "zusl_Serializable.h"

namespace zusl {

// The input side.
class IStream {
public:
    virtual ~IStream() = default;

    // Waits until the stream is not empty, looking once a millisecond: true when it is not, false when the
    // timeout (ms) ran out. The timeout is looked at first, so 0 gives false at once. 0xFFFFFFFF means no
    // timeout.
    virtual bool wait(unsigned int timeoutMs) const;

    // The type id of the next record, which stays; that of EndOfFile when there is nothing.
    virtual unsigned int getNextType() const = 0;

    // Whether the next record is an EndOfFile; false on an empty stream. Throws what getNextType throws.
    virtual bool isEOF() const;

    // Whether no byte is waiting to be read.
    virtual bool isEmpty() const = 0;

    // Decode the next record, which must be of the object's type, and consume it. read returns the bytes
    // consumed.
    virtual unsigned int read(Serializable& object) = 0;

    // Consumes the next record without decoding it. Returns the bytes consumed.
    virtual unsigned int skip() = 0;

    virtual IStream& operator>>(Serializable& object) = 0;

    // Takes the next records as raw bytes: true with `data` a new array of whole records, which the caller
    // owns and frees with delete[], and `length` its size in bytes. False when nothing was taken.
    virtual bool readNextObject(unsigned char*& data, unsigned int& length) = 0;
};

// The output side.
class OStream {
public:
    virtual ~OStream() = default;

    // Passes on what a stream holds back.
    virtual void flush() = 0;

    // Ends the output with an EndOfFile record. Returns the bytes appended.
    virtual unsigned int close() = 0;

    // Append the object's record. write returns the bytes appended.
    virtual unsigned int write(const Serializable& object) = 0;
    virtual OStream& operator<<(const Serializable& object) = 0;

    // Appends the next raw records of the source, got by getNextObject.
    virtual OStream& operator<<(IStream& source) = 0;

    // What readNextObject of the source gives.
    virtual bool getNextObject(IStream& source, unsigned char*& data, unsigned int& length);
};

// Both sides.
class IOStream : public IStream, public OStream {};

// Marks the end of what a writer sent. Holds nothing; recognised by IStream::isEOF, never read.
class EndOfFile : public Serializable {
public:
    static constexpr unsigned int typeId = 1;

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // An empty element; nothing for a null name. Every XML text is taken.
    std::string toXML() const override;
    std::string toXML(const char* name) const override;
    bool fromXML(const char* xml) override;

    // The binary form is of no bytes.
    unsigned int getBinLength() const override;
    unsigned int toBin(unsigned char* buffer) const override;
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;
};

} // namespace zusl
