#pragma once
// zutl::Exception, the only exception type of the library, and the function that throws it with a location.

#include <exception>
#include <string>

namespace zutl {

// An error that carries only its message. Thrown by value.
class Exception : public std::exception {
public:
    // Copies the text.
    Exception(const char* text) : message(text != nullptr ? text : "") {}
    ~Exception() override;

    // Returns the complete message, valid as long as this object.
    const char* what() const noexcept override;

    // The complete message.
    std::string message;
};

// Throws an Exception with the message "FILE (LINE): CLASS::TEXT", where FILE and LINE are those of the
// caller. The text begins with the name of the failing operation, as in "read() - type mismatch".
[[noreturn, gnu::cold]] void throwError(const char* className, const char* text,
                                        const char* file = __builtin_FILE(), int line = __builtin_LINE());

} // namespace zutl
