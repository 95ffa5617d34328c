// What the contenders work on. The same in every run.

#include "jobs.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace bench {

namespace {

constexpr size_t textLength = 1 << 20;

// Numbers without pattern, the same in every run.
class Numbers {
public:
    explicit Numbers(std::uint64_t seed) : state(seed * 2 + 1) {}

    // Returns 0 to limit - 1.
    size_t below(size_t limit) {
        // xorshift64*: good enough to hide any pattern from a branch predictor.
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<size_t>((state * 2685821657736338717U) >> 33) % limit;
    }

    // Returns true once in so many times.
    bool oneIn(size_t times) { return below(times) == 0; }

    char oneOf(std::string_view bytes) { return bytes[below(bytes.size())]; }

private:
    std::uint64_t state;
};

std::string lettersOf(Numbers& numbers, size_t length) {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    std::string text(length, '\0');
    for (char& byte : text)
        byte = numbers.oneOf(letters);
    return text;
}

// Appends the text, on average one of so many bytes replaced by an escape.
void appendEscaped(std::string& to, std::string_view text, Numbers& numbers, size_t times) {
    for (const char byte : text) {
        if (!numbers.oneIn(times)) {
            to += byte;
            continue;
        }
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X",
                      static_cast<unsigned int>(numbers.oneOf("/&=?%+\"<>")));
        to += escape;
    }
}

// Settings with different names, in no order. A third of the values is empty or short, the others have up to
// 30 bytes.
std::vector<std::pair<std::string, std::string>> settings(size_t count) {
    Numbers numbers(count);
    std::vector<std::pair<std::string, std::string>> fields;
    for (size_t i = 0; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "setting_%05zu", i);
        const size_t longest = numbers.oneIn(3) ? 4 : 30;
        fields.emplace_back(name, lettersOf(numbers, numbers.below(longest + 1)));
    }
    for (size_t i = count; i > 1; --i)
        std::swap(fields[i - 1], fields[numbers.below(i)]);
    return fields;
}

} // namespace

const std::string& formText() {
    static const std::string form = [] {
        Numbers numbers(1);
        std::string text;
        for (const auto& [name, value] : settings(30)) {
            text += text.empty() ? "S" : "&S"; // names with capital letters
            text += name.substr(1) + "_Zone=";
            appendEscaped(text, value, numbers, 20);
        }
        return text;
    }();
    return form;
}

const std::string& percentText() {
    static const std::string text = [] {
        Numbers numbers(2);
        std::string escaped;
        appendEscaped(escaped, lettersOf(numbers, textLength), numbers, 50);
        return escaped;
    }();
    return text;
}

const std::string& plainText() {
    static const std::string text = [] {
        Numbers numbers(3);
        std::string plain = lettersOf(numbers, textLength);
        for (char& byte : plain)
            if (numbers.oneIn(20))
                byte = numbers.oneOf("&<>'\"");
        return plain;
    }();
    return text;
}

const PlainMap& plainMap() {
    static const PlainMap map = [] {
        auto fields = settings(10000);
        std::sort(fields.begin(), fields.end()); // the nodes follow one another in memory, as ours do
        return PlainMap(fields.begin(), fields.end());
    }();
    return map;
}

} // namespace bench
