#pragma once

#include "zusl_Stream.h"
#include "zutl_Exception.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <vector>

// The bytes that this text has as two hexadecimal digits each, separated by blanks.
inline std::string unhex(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 3)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

// The object as bytes, written into exactly the announced length, so a sanitizer sees one too many.
inline std::string toBytes(const zusl::Serializable& object) {
    std::vector<unsigned char> buffer(object.getBinLength());
    const unsigned int written = object.toBin(buffer.data());
    return written == buffer.size() ? std::string(buffer.begin(), buffer.end())
                                    : "toBin wrote another length";
}

// Reads from bytes followed by inaccessible memory, so reading one more ends the test.
inline unsigned int fromBytes(zusl::Serializable& object, const std::string& bytes) {
    static unsigned char* const end = [] {
        constexpr size_t most = 1 << 20;
        void* const block = mmap(nullptr, 2 * most, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        mprotect(block, most, PROT_READ | PROT_WRITE);
        return static_cast<unsigned char*>(block) + most;
    }();
    std::copy(bytes.begin(), bytes.end(), end - bytes.size());
    return object.fromBin(end - bytes.size(), static_cast<unsigned int>(bytes.size()));
}

// Returns the text of the exception that the action throws; empty if it throws none.
template <typename Action>
std::string thrown(Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

inline const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// An object of 4 bytes whose operations fail or report another number of bytes, as the test wants.
struct Unreliable : zusl::EndOfFile {
    enum Failure { none, exception, other } failure = none;
    unsigned int reported = 4;

    void failIfWanted() const {
        if (failure == exception)
            throw zutl::Exception("it failed");
        if (failure == other)
            throw 42; // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    unsigned int getTypeId() const override { return 99; }
    unsigned int getBinLength() const override { return 4; }
    unsigned int toBin(unsigned char* buffer) const override {
        failIfWanted();
        std::memset(buffer, 'u', 4);
        return reported;
    }
    unsigned int fromBin(const unsigned char* /*data*/, unsigned int /*length*/) override {
        failIfWanted();
        return reported;
    }
};

// Returns the message after its location, "FILE (LINE): ", and the prefix, if that is how it begins; else the
// whole message.
template <typename Action>
std::string thrownIn(const std::string& file, Action action, const std::string& prefix = "") {
    const std::string message = thrown(action), rest = "): " + prefix;
    const size_t digits = file.size() + 2;
    const size_t end = message.find_first_not_of("0123456789", digits);
    const bool isLocated = message.compare(0, digits, file + " (") == 0 && end > digits &&
                           message[digits] != '0' && message.compare(end, rest.size(), rest) == 0;
    return isLocated ? message.substr(end + rest.size()) : message;
}

inline const char* const fromBinFailed = "zusl::Serializable::fromBin() - Failed!";
