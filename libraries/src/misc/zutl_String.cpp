#include "zutl_String.h"

#include "zutl_ByteSet.h"
#include "zutl_File.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>

namespace zutl {

namespace {

constexpr const char* blanks = " \t\n\r";

// Returns the end of the quoted section that opens at `open`, or npos if it does not end. A backslash makes
// the next byte ordinary; the byte after that one can only be the closing quote.
size_t findSectionEnd(std::string_view text, size_t open) {
    const char quote = text[open];
    size_t position = open + 1;
    while (position < text.size()) {
        if (text[position] == quote)
            return position;
        if (text[position] != '\\') {
            ++position;
            continue;
        }
        if (position + 2 < text.size() && text[position + 2] == quote)
            return position + 2;
        position += 3;
    }
    return std::string_view::npos;
}

} // namespace

String& String::operator=(const std::string& text) {
    std::string::operator=(text);
    return *this;
}

String& String::operator=(const char* text) {
    std::string::operator=(text != nullptr ? text : "");
    return *this;
}

String String::fromFormat(const char* format, ...) {
    va_list args;
    va_start(args, format);
    // Ends the list even if memory runs out.
    struct End {
        va_list& list;
        ~End() { va_end(list); }
    } const end{args};
    return fromVAList(format, &args); // cppcheck-suppress va_end_missing ; `end` does it
}

String String::fromVAList(const char* format, void* args) {
    if (format == nullptr)
        return String();
    va_list& list = *static_cast<va_list*>(args);
    const int length = zu_vscprintf(format, list);
    if (length <= 0)
        return String();
    const size_t size = static_cast<size_t>(length) + 1;
    const std::unique_ptr<char[]> buffer(new char[size]);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started it
    std::vsnprintf(buffer.get(), size, format, list);
    return String(buffer.get());
}

String String::fromFloat(float value, int decimals) {
    return fromFormat("%.*f", decimals, static_cast<double>(value));
}

String String::fromInteger(int value) {
    std::array<char, 11> digits; // a sign and ten digits
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return String(std::string_view(digits.data(), static_cast<size_t>(end - digits.data())));
}

String String::fromEnvVarible(const char* name) {
    return name != nullptr ? String(std::getenv(name)) : String();
}

String String::sanitize(const String& text, const char* allowed) {
    const ByteSet kept(allowed != nullptr ? allowed : "");
    String result;
    std::copy_if(text.begin(), text.end(), std::back_inserter(result),
                 [&](char byte) { return kept.contains(byte); });
    return result.trim();
}

unsigned int String::copyString(char* buffer, unsigned int max) const {
    const size_t length = std::min<size_t>(max, size());
    std::memcpy(buffer, data(), length);
    buffer[length] = '\0';
    return static_cast<unsigned int>(length);
}

int String::iCompare(const String& other) const {
    return zu_stricmp(c_str(), other.c_str());
}

bool String::hasPrefix(const String& prefix) const {
    return compare(0, prefix.size(), prefix) == 0;
}

bool String::isNumeric(bool& isInteger) const {
    isInteger = true;
    bool started = false;
    bool ended = false;
    for (const char byte : *this) {
        if (byte == ' ' || byte == '\t') {
            ended = started;
        } else if (byte >= '0' && byte <= '9') {
            if (ended)
                return false;
            started = true;
        } else if ((byte == '+' || byte == '-') && !started) {
            started = true;
        } else if (byte == '.' && isInteger && !ended) {
            started = true;
            isInteger = false;
        } else {
            return false;
        }
    }
    return started;
}

int String::toInt() const {
    constexpr long least = INT_MIN; // long is wider than int on some machines
    constexpr long most = INT_MAX;
    return static_cast<int>(std::clamp(std::strtol(c_str(), nullptr, 10), least, most));
}

unsigned int String::toUnsignedInt() const {
    return static_cast<unsigned int>(std::max(0, toInt()));
}

bool String::toBool() const {
    for (const char* const word : {"true", "t", "yes", "y", "on"})
        if (zu_stricmp(c_str(), word) == 0)
            return true;
    return toInt() != 0;
}

std::vector<unsigned int> String::findAll(const String& delimiters, const String& quotes) const {
    const ByteSet delimiterSet(delimiters);
    const ByteSet quoteSet(quotes);
    std::vector<unsigned int> positions;
    size_t delimiter = delimiterSet.findIn(*this, 0);
    size_t quote = quoteSet.findIn(*this, 0);
    while (delimiter != npos) {
        if (delimiter < quote) {
            positions.push_back(to32Bits(delimiter));
            delimiter = delimiterSet.findIn(*this, delimiter + 1);
            continue;
        }
        const size_t sectionEnd = findSectionEnd(*this, quote);
        if (sectionEnd == npos)
            break;
        // Searched again only if it was within the section: this keeps the search linear.
        if (delimiter <= sectionEnd)
            delimiter = delimiterSet.findIn(*this, sectionEnd + 1);
        quote = quoteSet.findIn(*this, sectionEnd + 1);
    }
    return positions;
}

std::vector<String> String::tokenize(const String& delimiters, const String& quotes) const {
    std::vector<String> tokens;
    const std::vector<unsigned int> positions = findAll(delimiters, quotes);
    tokens.reserve(positions.size() + 1);
    appendTokens(*this, positions, tokens);
    return tokens;
}

String String::toLower() const {
    String result(c_str());
    zu_strlwr(result.data());
    return result;
}

String String::toUpper() const {
    String result(c_str());
    zu_strupr(result.data());
    return result;
}

String String::trim() const {
    const size_t first = find_first_not_of(blanks);
    if (first == npos)
        return String();
    const size_t last = find_last_not_of(blanks);
    return String(std::string_view(*this).substr(first, last - first + 1));
}

String String::padEnd(unsigned int width, char fill) const {
    if (size() >= width)
        return *this;
    String result(c_str());
    result.append(width - size(), fill);
    return result;
}

String String::abbreviate(unsigned int max) const {
    constexpr std::string_view points = "...";
    if (max < points.size())
        return String();
    if (size() <= max)
        return *this;
    String result(std::string_view(*this).substr(0, max - points.size()));
    result += points;
    return result;
}

String String::extract(const String& begin, const String& end) const {
    const size_t opening = find(begin);
    if (opening == npos)
        return String();
    const size_t from = opening + begin.size();
    const size_t to = find(end, from);
    if (to == npos)
        return String();
    return String(std::string_view(*this).substr(from, to - from));
}

String::operator SmartArray<char>() const {
    const size_t length = size() + 1;
    const unsigned int elements = to32Bits(length);
    SmartArray<char> array(new char[length], elements);
    zu_strcpy(&*array, length, c_str());
    return array;
}

bool String::toFile(const char* path) const {
    const File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    return file.isOpen() && writeAll(file.get(), data(), size());
}

bool String::fromFile(const char* path) {
    const File file(path, O_RDONLY); // before the text is emptied, which may contain the path
    clear();
    if (!file.isOpen())
        return false;
    std::array<char, 1024> block; // most files are smaller; a larger block would touch more stack pages
    for (;;) {
        const ssize_t received = readSome(file.get(), block.data(), block.size());
        if (received == 0)
            return true;
        if (received < 0) {
            clear();
            return false;
        }
        append(block.data(), static_cast<size_t>(received));
    }
}

} // namespace zutl
