#pragma once
// zusl::Serializable, the interface of every object that can be converted to text and bytes and back.

#include <string>

namespace zusl {

// The type id of a list minus that of its elements.
constexpr unsigned int listTypeIds = 5000;

// The type id of a StringMap minus that of its values.
constexpr unsigned int stringMapTypeIds = 15000;

// An object with a type id, an XML text, a binary encoding and a file format. docs/formats.md describes all
// encodings.
class Serializable {
public:
    virtual ~Serializable() = default;

    // Returns the class's id, which fits in 16 bits. docs/formats.md lists those of the library.
    virtual unsigned int getTypeId() const = 0;

    // Returns the class's name from the same table.
    virtual std::string getTypeName() const = 0;

    // Returns toXML(type name).
    virtual std::string toXML() const = 0;

    // Returns the object as XML text whose root element is called `name`; empty for a null name.
    virtual std::string toXML(const char* name) const = 0;

    // Replaces the content with that of the XML text. Returns false if nothing usable was found.
    virtual bool fromXML(const char* xml) = 0;

    // Returns the exact number of bytes that toBin would write now.
    virtual unsigned int getBinLength() const = 0;

    // Writes the binary encoding and returns its length. Requires a buffer of getBinLength() bytes.
    virtual unsigned int toBin(unsigned char* buffer) const = 0;

    // Replaces the content with the object encoded at `data`, reading at most `length` bytes. Returns the
    // number of bytes read. Throws "zusl::Serializable::fromBin() - Failed!" if the bytes are not a valid
    // encoding.
    virtual unsigned int fromBin(const unsigned char* data, unsigned int length) = 0;

    // Writes an object file: type id, length, binary encoding (docs/formats.md). Returns true once all bytes
    // have reached the file. Returns false if the file cannot be opened or written, or if toBin fails, which
    // leaves an empty file. Throws only what getBinLength or the allocation of the buffer throws.
    virtual bool toFile(const char* path) const;

    // Reads an object file, which may be a pipe, a FIFO or a device. Returns false, with the object
    // unchanged, if the file cannot be read, is shorter than its length field says, or holds another type.
    // Returns false, with the object as fromBin left it, if fromBin fails or reads another number of bytes.
    // Ignores bytes after the encoding. Never throws.
    virtual bool fromFile(const char* path);

protected:
    Serializable() = default;
    // Copies nothing.
    Serializable(const Serializable&) = default;

    // Assigns nothing.
    Serializable& operator=(const Serializable&) = default;
};

// Throws zutl::Exception("zusl::Serializable::fromBin() - Failed!"), the error of every binary reader.
[[noreturn, gnu::cold]] void throwFromBinFailed();

} // namespace zusl
