#pragma once
// What the contenders work on. The same in every run.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Numbers without pattern, the same in every run.
class Numbers {
public:
    explicit Numbers(std::uint64_t seed) : state(seed * 2 + 1) {}

    // 0 to limit - 1.
    size_t below(size_t limit);

private:
    std::uint64_t state;
};

using Fields = std::vector<std::pair<std::string, std::string>>;

// Settings with different names, in no order. A third of the values is empty or short, the others have up to
// 30 bytes.
Fields settings(size_t count);

// The same as a submitted form: about 34 bytes a field, the names with capital letters, one byte in 20 of the
// values escaped.
std::string form(size_t fields);

// Text of `length` bytes before escaping, of which the share was replaced by "%" escapes.
std::string percentText(size_t length, double share);

// Text of `length` bytes, of which the share is one of & < > ' ".
std::string markupText(size_t length, double share);

} // namespace bench
