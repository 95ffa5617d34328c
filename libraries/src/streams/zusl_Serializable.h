#pragma once
// zusl::Serializable, the interface of every object that can be turned into text and bytes and back.
//
// Type ids and names; ids fit in 16 bits:
//
//     1      zusl_EndOfFile
//     6      zusl_MemIOStream
//     501    zutl_String
//     504    Integer
//     5000 + the element's id     the element's name and "List"       (5501   zutl_StringList)
//     15000 + the value's id      the value's name and "StringMap"    (15501  zutl_StringStringMap)

#include <string>

namespace zusl {

// What a container's id adds to that of its element or value.
constexpr unsigned int listTypeIds = 5000;
constexpr unsigned int stringMapTypeIds = 15000;

class Serializable {
public:
    virtual ~Serializable() = default;

    // The class's id and name, from the table above.
    virtual unsigned int getTypeId() const = 0;
    virtual std::string getTypeName() const = 0;

    // The object as XML text, with the type name or the given name as the root element's.
    virtual std::string toXML() const = 0;
    virtual std::string toXML(const char* name) const = 0;

    // Replaces the content by what the XML text holds; false when nothing usable was found.
    virtual bool fromXML(const char* xml) = 0;

    // The exact number of bytes that toBin writes for the object as it is now.
    virtual unsigned int getBinLength() const = 0;

    // Writes the binary form. The caller provides getBinLength() bytes. Returns the number of bytes written.
    virtual unsigned int toBin(unsigned char* buffer) const = 0;

    // Replaces the content by the binary form at `data`, of which no more than `length` bytes are read.
    // Returns the number of bytes taken. Throws zutl::Exception "zusl::Serializable::fromBin() - Failed!" for
    // bytes that are of no use.
    virtual unsigned int fromBin(const unsigned char* data, unsigned int length) = 0;

    // Writes the object file form: type id, length, binary form (docs/formats.md). True when all of it
    // reached the file; false when the file cannot be opened or written, and when toBin fails, which leaves
    // an empty file. Throws only what getBinLength or the allocation of the buffer throws.
    virtual bool toFile(const char* path) const;

    // Reads the object file form. False, with the object unchanged, when the file cannot be read, is shorter
    // than it says, or holds another type; false, with the object as fromBin left it, when fromBin fails or
    // takes another number of bytes. Bytes after the form are not looked at. Never throws.
    virtual bool fromFile(const char* path);

protected:
    Serializable() = default;
    Serializable(const Serializable&) = default;
    Serializable& operator=(const Serializable&) = default;
};

// Throws the zutl::Exception of a binary reader that finds bytes of no use.
[[noreturn, gnu::cold]] void throwFromBinFailed();

} // namespace zusl
