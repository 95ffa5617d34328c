#pragma once
// zutl::String, the string of the whole system: plain bytes, no character set.

#include "zu_Functions.h"
#include "zusl_Serializable.h"
#include "zutl_ByteOrder.h"
#include "zutl_Length32.h"
#include "zutl_SmartArray.h"

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zutl {

// A std::string with conversions, searches and transformations. Length and positions count bytes; only the
// ASCII letters have case; a null C string counts as empty text. A text may hold zero bytes; the operations
// that say "C text" see it only up to its first one.
//
// Nothing here reports an error for bad input. Only memory that runs out is thrown (std::bad_alloc).
class String : public std::string, public zusl::Serializable {
public:
    // Creates an empty text.
    String() = default;

    // Copies the text.
    String(const String& other) = default;

    // Takes the bytes of a temporary text.
    String(String&& other) noexcept = default;

    // Copies the text.
    String(const std::string& text) : std::string(text) {}

    // Copies the C string; null counts as empty.
    String(const char* text) : std::string(text != nullptr ? text : "") {}

    ~String() override = default;

    // Copies the text.
    String& operator=(const String& other) = default;

    // Copies the text.
    String& operator=(const std::string& text);

    // Copies the C string; null counts as empty.
    String& operator=(const char* text);

    // Takes the bytes of a temporary std::string. This, the next constructor and the assignment below are
    // templates that accept no conversion, so objects convertible to a text choose among the functions above.
    template <typename Text, typename = std::enable_if_t<std::is_same_v<Text, std::string>>>
    String(Text&& text) noexcept : std::string(std::forward<Text>(text)) {}

    // Copies the bytes of a view.
    template <typename View, typename = std::enable_if_t<std::is_same_v<View, std::string_view>>>
    explicit String(View text) : std::string(text) {}

    // Takes the bytes of a temporary text.
    template <typename Text,
              typename = std::enable_if_t<std::is_same_v<Text, String> || std::is_same_v<Text, std::string>>>
    String& operator=(Text&& text) noexcept {
        std::string::operator=(std::forward<Text>(text));
        return *this;
    }

    // --- Factories

    // Returns the text formatted as by printf; empty for a null format.
    static String fromFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

    // Returns the text formatted as by vprintf. Requires that `args` points to a started va_list, which the
    // caller ends. The void pointer is imposed by the published interface.
    static String fromVAList(const char* format, void* args) __attribute__((format(printf, 1, 0)));

    // Returns the number in fixed notation with exactly `decimals` digits after the point.
    static String fromFloat(float value, int decimals);

    // Returns the number in decimal, with a leading '-' if it is negative.
    static String fromInteger(int value);

    // Returns the value of the environment variable; empty if it is not set. The spelling of the function's
    // name is imposed by the published interface.
    static String fromEnvVarible(const char* name);

    // Returns the bytes of the text that occur in `allowed`, trimmed.
    static String sanitize(const String& text, const char* allowed);

    // Appends the tokens of the text to the container, each as C text: the stretches between the delimiter
    // bytes that findAll reports. Empty stretches are left out. Without delimiters the whole text is one
    // token; an empty text has none. Tokens keep their blanks and quotes. The text may be in the container.
    template <typename Container>
    static void tokenize(const String& text, const String& delimiters, Container& tokens,
                         const String& quotes);

    // Returns the items in order, separated by `separator`.
    template <typename Container>
    static String join(const Container& items, const String& separator);

    // --- Queries and conversions

    // Compares as C text, ignoring the case of ASCII letters. Returns a negative, zero or positive number.
    int iCompare(const String& other) const;

    // Returns true if the text begins with the prefix.
    bool hasPrefix(const String& prefix) const;

    // Returns true if the text is a decimal number: an optional sign, digits and at most one point,
    // surrounded by any spaces and tabs. No digit is required. Stores in `isInteger` whether no point was
    // accepted.
    bool isNumeric(bool& isInteger) const;

    // Returns the decimal integer at the start of the text, after any white space, clamped to 32 bits; 0 if
    // there is none.
    int toInt() const;

    // As toInt, but returns 0 for a negative number.
    unsigned int toUnsignedInt() const;

    // Returns true for "true", "t", "yes", "y" and "on" in any case, and for text that begins with a nonzero
    // integer.
    bool toBool() const;

    // Returns the ascending positions of the delimiter bytes outside quoted sections. A section starts at any
    // quote byte and ends at the next same byte. Inside it, a backslash makes the next byte ordinary; if the
    // byte after that is the quote byte, the section ends there. Nothing is reported after a section that
    // does not end.
    std::vector<unsigned int> findAll(const String& delimiters, const String& quotes) const;

    // Returns the tokens of this text, as the static tokenize appends them.
    std::vector<String> tokenize(const String& delimiters, const String& quotes) const;

    // --- Transformations: each returns a new text

    // Returns the C text with ASCII letters in lower case.
    String toLower() const;

    // Returns the C text with ASCII letters in upper case.
    String toUpper() const;

    // Returns the text without spaces, tabs, line feeds and carriage returns at both ends.
    String trim() const;

    // Returns a copy; if the text is shorter than `width` bytes, the C text followed by width - size() fill
    // bytes.
    String padEnd(unsigned int width, char fill) const;

    // Returns the text, truncated to `max` bytes if it is longer, the last three of them points. Empty if max
    // < 3.
    String abbreviate(unsigned int max) const;

    // Returns the bytes between the first `begin` and the next `end`; empty if either is missing.
    String extract(const String& begin, const String& end) const;

    // --- Markup

    // Returns the text with the five characters & < > ' " replaced by their entities.
    static String encodeHtml(const String& text);

    // Returns the text with these five entities replaced by their characters. Other entities and character
    // references are kept.
    static String decodeHtml(const String& text);

    // Returns the text with every complete element called `name`, including all that is nested in it,
    // replaced. An open tag without a close tag is kept. The replacement itself is not searched. Linear in
    // the text, unless the name contains a "<", because tags may then overlap.
    String replaceElement(const String& name, const String& replacement) const;

    // --- Serialization (zusl::Serializable)

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // Returns toXML("zutl_String").
    std::string toXML() const override;

    // Returns <name>escaped text</name> with the text up to its first zero byte; <name/> if it is empty; an
    // empty text for a null name. The name is not escaped.
    std::string toXML(const char* name) const override;

    // Replaces the text with the value of the root element. Returns false, with the text unchanged, if there
    // is no document.
    bool fromXML(const char* xml) override;

    // Returns size() + 5. Throws std::bad_alloc if that exceeds 32 bits.
    unsigned int getBinLength() const override;

    // Writes the length in 4 bytes, the text, and a zero byte. Throws what getBinLength throws before it
    // writes.
    unsigned int toBin(unsigned char* buffer) const override;

    // Reads the text up to its zero byte; the stored length is not used. Throws
    // "zusl::Serializable::fromBin() - Failed!", with the text unchanged, if there is no zero byte within
    // `length`.
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // Creates or truncates the file and writes the text alone, without a header. Returns true if all of it
    // was written.
    bool toFile(const char* path) const override;

    // Replaces the text with the whole file. Returns false, with an empty text, if the file cannot be opened
    // or read.
    bool fromFile(const char* path) override;

    // Copies at most `max` bytes of the text and adds a zero byte. Returns the number of text bytes copied.
    // Requires a buffer of max + 1 bytes.
    virtual unsigned int copyString(char* buffer, unsigned int max) const;

    // Returns a new array of size() + 1 bytes: the C text, padded with zero bytes.
    operator SmartArray<char>() const;

private:
    // The binary encoding:
    //
    //     offset  size
    //     0       4     n, the length of the text
    //     4       n     the text
    //     4 + n   1     a zero byte
    static constexpr unsigned int binTextOffset = 4;
    static constexpr unsigned int binOverhead = binTextOffset + 1;

    // Appends the non-empty parts between the delimiters, each as C text. Requires that the text is not in
    // the container.
    template <typename Container>
    static void appendTokens(std::string_view text, const std::vector<unsigned int>& delimiters,
                             Container& tokens);
};

template <typename Container>
void String::appendTokens(std::string_view text, const std::vector<unsigned int>& delimiters,
                          Container& tokens) {
    size_t start = 0;
    const auto append = [&](size_t end) {
        const char* const token = text.data() + start;
        if (end > start)
            tokens.push_back(String(std::string_view(token, strnlen(token, end - start))));
        start = end + 1;
    };
    for (const unsigned int position : delimiters)
        append(position);
    append(text.size());
}

template <typename Container>
void String::tokenize(const String& text, const String& delimiters, Container& tokens, const String& quotes) {
    const std::string copy(text); // the text may be in the container
    appendTokens(copy, text.findAll(delimiters, quotes), tokens);
}

template <typename Container>
String String::join(const Container& items, const String& separator) {
    String result;
    bool first = true;
    for (const auto& item : items) {
        if (!first)
            result += separator;
        result += item;
        first = false;
    }
    return result;
}

// The binary encoding is inline: containers write and read very many short texts.

inline unsigned int String::getBinLength() const {
    if (size() > UINT32_MAX - binOverhead)
        throwTooLong();
    return static_cast<unsigned int>(size()) + binOverhead;
}

inline unsigned int String::toBin(unsigned char* buffer) const {
    const unsigned int length = String::getBinLength();
    store32(buffer, length - binOverhead);
    std::memcpy(buffer + binTextOffset, c_str(), length - binTextOffset);
    return length;
}

inline unsigned int String::fromBin(const unsigned char* data, unsigned int length) {
    if (length < binOverhead)
        zusl::throwFromBinFailed();
    const unsigned char* const text = data + binTextOffset;
    const void* const end = std::memchr(text, 0, length - binTextOffset);
    if (end == nullptr)
        zusl::throwFromBinFailed();
    assign(reinterpret_cast<const char*>(text),
           static_cast<size_t>(static_cast<const unsigned char*>(end) - text));
    return static_cast<unsigned int>(size()) + binOverhead;
}

// Finds the next open tag of the element `name` at or after `start`. Stores the positions of its "<" and ">",
// and whether it ends in "/>". Returns false if there is none; the outputs are unspecified then. A ">" in a
// quoted attribute ends the tag.
bool findOpenTag(const String& text, unsigned int start, const String& name, unsigned int& tagStart,
                 unsigned int& tagEnd, bool& selfClosing);

// Finds the close tag of the element `name` whose content begins at `start`, skipping nested elements of that
// name. Stores the positions of its "<" and ">". Returns false if there is none; the outputs are unspecified
// then.
bool findCloseTag(const String& text, unsigned int start, const String& name, unsigned int& closeStart,
                  unsigned int& closeEnd);

} // namespace zutl
