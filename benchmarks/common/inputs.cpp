#include "inputs.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace bench {

namespace {

constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_. ";
constexpr std::string_view escapedLetters = "/&=?%+\"<>";

std::string plainText(Numbers& numbers, size_t length) {
    std::string text(length, '\0');
    for (char& byte : text)
        byte =
            letters[numbers.below(letters.size() - 1)]; // no space at either end: readers of XML may drop it
    return text;
}

void appendEscape(std::string& text, char byte) {
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(byte));
    text += escape;
}

// Whether to choose, with this probability.
bool chosen(Numbers& numbers, double share) {
    constexpr size_t resolution = 1000000;
    return static_cast<double>(numbers.below(resolution)) < share * static_cast<double>(resolution);
}

} // namespace

size_t Numbers::below(size_t limit) {
    // xorshift64*: good enough to hide any pattern from a branch predictor.
    state ^= state >> 12;
    state ^= state << 25;
    state ^= state >> 27;
    return static_cast<size_t>((state * 2685821657736338717U) >> 33) % limit;
}

Fields settings(size_t count) {
    Numbers numbers(count);
    Fields fields;
    for (size_t i = 0; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "setting_%05zu", i);
        const size_t longest = numbers.below(3) == 0 ? 4 : 30;
        fields.emplace_back(name, plainText(numbers, numbers.below(longest + 1)));
    }
    for (size_t i = count; i > 1; --i)
        std::swap(fields[i - 1], fields[numbers.below(i)]);
    return fields;
}

std::string form(size_t fields) {
    Numbers numbers(fields);
    std::string text;
    for (auto [name, value] : settings(fields)) {
        if (!text.empty())
            text += '&';
        name[0] = 'S';
        name += "_Zone";
        text += name;
        text += '=';
        for (const char byte : value) {
            if (chosen(numbers, 0.05))
                appendEscape(text, escapedLetters[numbers.below(escapedLetters.size())]);
            else
                text += byte;
        }
    }
    return text;
}

std::string percentText(size_t length, double share) {
    Numbers numbers(length);
    std::string text;
    for (const char byte : plainText(numbers, length)) {
        if (chosen(numbers, share))
            appendEscape(text, escapedLetters[numbers.below(escapedLetters.size())]);
        else
            text += byte;
    }
    return text;
}

std::string markupText(size_t length, double share) {
    constexpr std::string_view special = "&<>'\"";
    Numbers numbers(length);
    std::string text = plainText(numbers, length);
    for (char& byte : text)
        if (chosen(numbers, share))
            byte = special[numbers.below(special.size())];
    return text;
}

} // namespace bench
