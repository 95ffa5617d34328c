#pragma once
// The events of a walk over files, in the order of their bytes. The walk reports them, the printers show
// them.

#include "encoding.h"
#include "zutl_String.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dump {

struct Object {
    unsigned int offset; // in the file: of the object's header, of its key, or of its encoding
    unsigned int typeId;
    std::string typeName;               // empty for an unknown type
    std::optional<unsigned int> length; // of its encoding, in bytes; maps do not store it for their values
    const zutl::String* key;            // of a map's entry, else null
};

// A reader of the library accepts what a note is about, and refuses or loses something where there is damage.
enum class Remark { note, damage };

class Visitor {
public:
    virtual ~Visitor() = default;

    // Starts a file of `size` bytes; its objects and remarks follow.
    virtual void beginFile(std::string_view path, const char* kind, size_t size) = 0;

    // Ends the file. `isWhole` is false if there was damage.
    virtual void endFile(bool isWhole) = 0;

    // Reports a file that cannot be read, instead of beginFile and endFile.
    virtual void unreadable(std::string_view path, const char* reason) = 0;

    // Starts an object. Its value follows: nothing for a marker, one call of value(), or objects and remarks
    // between beginItems() and endItems().
    virtual void beginObject(const Object& object) = 0;
    virtual void value(std::string_view value) = 0;
    virtual void value(int value) = 0;
    virtual void value(Block value) = 0; // bytes of an unknown type, or that the type's reader refuses
    virtual void beginItems() = 0;
    virtual void endItems() = 0;
    virtual void endObject() = 0;

    // Reports what is unusual at `offset`.
    virtual void remark(Remark kind, unsigned int offset, const std::string& text) = 0;

    // Called once, after all files.
    virtual void finish() = 0;
};

// Returns a visitor that prints lines of text. Errors of the file are left for the caller to check.
std::unique_ptr<Visitor> textPrinter(std::FILE* to);

// Returns a visitor that prints one JSON document. Errors of the file are left for the caller to check.
std::unique_ptr<Visitor> jsonPrinter(std::FILE* to);

// Returns "1 byte", "2 bytes" and so on.
inline zutl::String amountOf(size_t bytes) {
    return zutl::String::fromFormat("%zu byte%s", bytes, bytes == 1 ? "" : "s");
}

} // namespace dump
