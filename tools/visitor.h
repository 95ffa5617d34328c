#pragma once
// What there is to tell of files, in the order of their bytes. The walk tells it, the printers show it.

#include "form.h"
#include "zutl_String.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dump {

struct Object {
    unsigned int offset; // in the file, of the object's header, of its key, or of its form
    unsigned int typeId;
    std::string typeName;               // empty for an unknown type
    std::optional<unsigned int> length; // of its form; a map does not say the lengths of its values
    const zutl::String* key;            // of a map's entry, else null
};

// A note is worth knowing and hinders no reader; damage does.
enum class Remark { note, damage };

class Visitor {
public:
    virtual ~Visitor() = default;

    // A file is begun, its objects and remarks follow, and it is ended; or it cannot be read.
    virtual void beginFile(std::string_view path, const char* kind, size_t size) = 0;
    virtual void endFile(bool isWhole) = 0;
    virtual void unreadable(std::string_view path, const char* reason) = 0;

    // Between begin and end of an object stands its value: nothing for a marker; one of the three; or,
    // between begin and end of items, objects and remarks.
    virtual void beginObject(const Object& object) = 0;
    virtual void value(std::string_view value) = 0;
    virtual void value(int value) = 0;
    virtual void value(Block value) = 0; // of an unknown type, or what the type's reader refuses
    virtual void beginItems() = 0;
    virtual void endItems() = 0;
    virtual void endObject() = 0;

    virtual void remark(Remark kind, unsigned int offset, const std::string& text) = 0;

    // Comes once, behind all files.
    virtual void finish() = 0;
};

// They print to the file and do not look whether it takes it.
std::unique_ptr<Visitor> textPrinter(std::FILE* to);
std::unique_ptr<Visitor> jsonPrinter(std::FILE* to);

// A number of bytes, as a text.
inline zutl::String amountOf(size_t bytes) {
    return zutl::String::fromFormat("%zu byte%s", bytes, bytes == 1 ? "" : "s");
}

// The text as a terminal can take it: with escapes as in C for what is not harmless, for quotes and
// backslashes.
void printEscaped(std::FILE* to, std::string_view text);

} // namespace dump
