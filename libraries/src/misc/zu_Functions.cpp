#include "zu_Functions.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr int caseBit = 0x20;

[[gnu::format_arg(1)]] const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// As tolower() in the C locale, whatever the current locale is.
int lowerCase(char byte) {
    return byte >= 'A' && byte <= 'Z' ? byte | caseBit : static_cast<unsigned char>(byte);
}

} // namespace

pthread_t zu_get_threadid(void) {
    return pthread_self();
}

char* zu_strdup(const char* text) {
    return strdup(orEmpty(text));
}

char* zu_strcpy(char* destination, size_t size, const char* source) {
    std::strncpy(destination, orEmpty(source), size - 1);
    destination[size - 1] = '\0';
    return destination;
}

int zu_stricmp(const char* a, const char* b) {
    const char* left = orEmpty(a);
    const char* right = orEmpty(b);
    while (*left != '\0' && lowerCase(*left) == lowerCase(*right)) {
        ++left;
        ++right;
    }
    return lowerCase(*left) - lowerCase(*right);
}

char* zu_strlwr(char* text) {
    for (char* byte = text; byte != nullptr && *byte != '\0'; ++byte)
        if (*byte >= 'A' && *byte <= 'Z')
            *byte = static_cast<char>(*byte | caseBit);
    return text;
}

char* zu_strupr(char* text) {
    for (char* byte = text; byte != nullptr && *byte != '\0'; ++byte)
        if (*byte >= 'a' && *byte <= 'z')
            *byte = static_cast<char>(*byte & ~caseBit);
    return text;
}

int zu_vscprintf(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char byte;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_copy has set it
    const int length = std::vsnprintf(&byte, sizeof byte, orEmpty(format), copy);
    va_end(copy);
    return length;
}

int64_t zu_atoi64(const char* text) {
    return std::strtoll(orEmpty(text), nullptr, 10);
}

uint32_t zu_tickcount(void) {
    timespec now{}; // keeps this value if the clock cannot be read
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(now.tv_sec) * 1000U + static_cast<uint32_t>(now.tv_nsec / 1000000);
}
