#include "zutl_Exception.h"

#include "zutl_Length32.h"

#include <new>

namespace zutl {

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    return message.c_str();
}

void throwError(const char* className, const char* text, const char* file, int line) {
    std::string message(file);
    message += " (";
    message += std::to_string(line);
    message += "): ";
    message += className;
    message += "::";
    message += text;
    throw Exception(message.c_str());
}

void throwTooLong() {
    throw std::bad_alloc();
}

} // namespace zutl
