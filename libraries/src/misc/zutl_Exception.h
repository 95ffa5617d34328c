#pragma once
// zutl::Exception, the one exception type of the libraries, and the one place that composes a located error.

#include <exception>
#include <string>

namespace zutl {

// Thrown by value. Carries nothing but its message.
class Exception : public std::exception {
public:
    explicit Exception(const char* text) : message(text) {}
    ~Exception() override;

    // The whole message; valid while the exception lives.
    const char* what() const noexcept override;

    std::string message;
};

// Throws an Exception with the message "FILE (LINE): CLASS::TEXT". File and line are those of the statement
// that calls this; the text begins with the name of the failing operation.
[[noreturn, gnu::cold]] void throwError(const char* className, const char* text,
                                        const char* file = __builtin_FILE(), int line = __builtin_LINE());

} // namespace zutl
