#pragma once
// The result of a loop written by hand, before it is appended to the string: small enough to stay in the
// first cache, and no byte of it written twice.

#include <array>
#include <string>

namespace byhand {

class Chunk {
public:
    // `most` is what one step of the loop may write.
    Chunk(std::string& behind, size_t most) : result(behind), limit(size - most) {}

    // Where to write next. Takes the place that the loop has come to.
    char* makeRoom(char* to) { return static_cast<size_t>(to - bytes.data()) <= limit ? to : empty(to); }
    char* start() { return bytes.data(); }
    char* empty(const char* to) {
        result.append(bytes.data(), static_cast<size_t>(to - bytes.data()));
        return bytes.data();
    }

private:
    static constexpr size_t size = 4096;

    std::string& result;
    const size_t limit;
    std::array<char, size> bytes;
};

} // namespace byhand
