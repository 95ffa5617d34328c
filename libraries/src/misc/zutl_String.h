#pragma once
// zutl::String, the string of the whole system: plain bytes, no character set.

#include "zu_Functions.h"
#include "zusl_Serializable.h"
#include "zutl_ByteOrder.h"
#include "zutl_SmartArray.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace zutl {

// A std::string with conversions, searches and transformations. Length and positions count bytes; only the
// ASCII letters have case; a null C string counts as empty text. A text may hold zero bytes; the operations
// that say "C text" see it only up to its first one.
//
// Nothing here reports an error for bad input. Only memory that runs out is thrown (std::bad_alloc).
class String : public std::string, public zusl::Serializable {
public:
    String() = default;
    String(const String& other) = default;
    String(String&& other) noexcept = default;
    String(const std::string& text) : std::string(text) {}
    String(std::string&& text) noexcept : std::string(std::move(text)) {}
    String(const char* text) : std::string(text != nullptr ? text : "") {}
    explicit String(std::string_view text) : std::string(text) {}
    ~String() override = default;

    String& operator=(const String& other) = default;
    String& operator=(String&& other) noexcept = default;
    String& operator=(const std::string& text);
    String& operator=(std::string&& text) noexcept;
    String& operator=(const char* text);

    // --- Factories
    // -----------------------------------------------------------------------------------------------

    // The text that printf-style formatting of the arguments gives.
    static String fromFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

    // The same for a list of arguments that the caller has started and will end; args points at the va_list
    // itself.
    static String fromVAList(const char* format, void* args) __attribute__((format(printf, 1, 0)));

    // Fixed notation with exactly `decimals` digits after the point.
    static String fromFloat(float value, int decimals);

    // Decimal digits, with a leading '-' for a negative value.
    static String fromInteger(int value);

    // The value of the environment variable; empty when it is not set.
    static String fromEnvVarible(const char* name);

    // The text without every byte that does not stand in `allowed`, then trimmed.
    static String sanitize(const String& text, const char* allowed);

    // Appends the tokens of the text to the container, each as C text: the stretches between the delimiter
    // bytes that findAll reports. Empty stretches are left out. Without delimiters the whole text is one
    // token; an empty text has none. Tokens keep their blanks and quotes.
    template <typename Container>
    static void tokenize(const String& text, const String& delimiters, Container& tokens,
                         const String& quotes);

    // The items in order, with the separator between each two.
    template <typename Container>
    static String join(const Container& items, const String& separator);

    // --- Queries and conversions
    // ---------------------------------------------------------------------------------

    // Compares as C text without regard to case: negative, zero or positive.
    int iCompare(const String& other) const;

    // Whether the text begins with the prefix; every text begins with the empty one.
    bool hasPrefix(const String& prefix) const;

    // Whether the text is a decimal number: an optional sign, digits and at most one point, with spaces and
    // tabs only around the whole; no digit is required. isInteger becomes false as soon as a point is
    // accepted, else true.
    bool isNumeric(bool& isInteger) const;

    // The decimal integer that the text begins with, white space before it skipped, held within 32 bits; 0
    // for text without one.
    int toInt() const;

    // The same; 0 also for a negative one.
    unsigned int toUnsignedInt() const;

    // True for "true", "t", "yes", "y" and "on" in any case, and for text that begins with an integer other
    // than 0.
    bool toBool() const;

    // Ascending positions of the delimiter bytes outside quoted sections. A section opens at any quote byte
    // and ends at the next same byte; inside it a backslash takes the byte after it out of consideration, and
    // when the one after that is the quote byte, the section ends there. After a section that never ends
    // nothing is reported.
    std::vector<unsigned int> findAll(const String& delimiters, const String& quotes) const;

    std::vector<String> tokenize(const String& delimiters, const String& quotes) const;

    // --- Transformations: each gives a new text
    // ------------------------------------------------------------------

    // The C text with its ASCII letters changed.
    String toLower() const;
    String toUpper() const;

    // Without spaces, tabs, line feeds and carriage returns at both ends.
    String trim() const;

    // When the text is shorter than `width` bytes: the C text, and as many fill bytes as the text lacks. Else
    // a copy.
    String padEnd(unsigned int width, char fill) const;

    // A text longer than `max` cut to `max` bytes, the last three of them points; empty for `max` below 3.
    String abbreviate(unsigned int max) const;

    // The bytes between the first `begin` and the next `end` after it; empty when either is missing.
    String extract(const String& begin, const String& end) const;

    // --- Markup
    // --------------------------------------------------------------------------------------------------

    // The text with the five characters & < > ' " replaced by their entities, and back. Decoding leaves every
    // other entity and character reference as it is.
    static String encodeHtml(const String& text);
    static String decodeHtml(const String& text);

    // The text with every complete element of the name replaced; what is nested in one goes with it. An open
    // tag without a close tag stays. The replacement is put in as it is and not searched.
    // Linear in the text, but for a name that holds a "<", whose tags may overlap.
    String replaceElement(const String& name, const String& replacement) const;

    // --- Serialized forms (zusl::Serializable)
    // -------------------------------------------------------------------

    unsigned int getTypeId() const override;
    std::string getTypeName() const override;

    // <name>the text with its entities</name>, up to its first zero byte; <name/> for an empty text; nothing
    // for a null name. The name is not escaped.
    std::string toXML() const override;
    std::string toXML(const char* name) const override;

    // Takes the value of the element; false, with the text unchanged, when there is no document.
    bool fromXML(const char* xml) override;

    // The binary form: the length in 4 bytes, the text, a zero byte. Reading goes by the zero byte alone: a
    // text that holds one comes back cut. Throws "zusl::Serializable::fromBin() - Failed!", with the text
    // unchanged, when there is none within the length.
    unsigned int getBinLength() const noexcept override;
    unsigned int toBin(unsigned char* buffer) const noexcept override;
    unsigned int fromBin(const unsigned char* data, unsigned int length) override;

    // The file form is the bytes of the text alone. toFile creates the file or cuts it to zero length first,
    // and gives true when all of the text reached it. fromFile empties the text first; false, with an empty
    // text, when the file cannot be opened or read.
    bool toFile(const char* path) const override;
    bool fromFile(const char* path) override;

    // Copies the first `max` bytes (all, when there are fewer) and a zero byte after them. Returns the number
    // of text bytes copied. The caller provides max + 1 bytes.
    virtual unsigned int copyString(char* buffer, unsigned int max) const;

    // A new array of size() + 1 bytes: the C text, filled up with zero bytes.
    operator SmartArray<char>() const;

private:
    // The binary form:
    //
    //     offset  size
    //     0       4     n, the length of the text
    //     4       n     the text
    //     4 + n   1     a zero byte
    static constexpr unsigned int binTextOffset = 4;
    static constexpr unsigned int binOverhead = binTextOffset + 1;
};

template <typename Container>
void String::tokenize(const String& text, const String& delimiters, Container& tokens, const String& quotes) {
    if (text.empty())
        return;
    size_t start = 0;
    const auto append = [&](size_t end) {
        const char* const token = text.data() + start;
        if (end > start)
            tokens.push_back(String(std::string_view(token, strnlen(token, end - start))));
        start = end + 1;
    };
    for (const unsigned int position : text.findAll(delimiters, quotes)) // none without delimiters
        append(position);
    append(text.size());
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

// The binary form is inline: containers write and read very many short texts.

inline unsigned int String::getBinLength() const noexcept {
    return static_cast<unsigned int>(size()) + binOverhead;
}

inline unsigned int String::toBin(unsigned char* buffer) const noexcept {
    store32(buffer, static_cast<std::uint32_t>(size()));
    std::memcpy(buffer + binTextOffset, c_str(), size() + 1);
    return static_cast<unsigned int>(size()) + binOverhead;
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

// Finds the next open tag of the element at or after `start`: tagStart is the position of its "<", tagEnd
// that of its ">", selfClosing whether it ends in "/>". False when there is none; the outputs then mean
// nothing. A ">" in a quoted attribute ends the tag.
bool findOpenTag(const String& text, unsigned int start, const String& name, unsigned int& tagStart,
                 unsigned int& tagEnd, bool& selfClosing);

// Finds the close tag of the element whose content begins at `start`, counting nested elements of the name:
// closeStart is the position of its "<", closeEnd that of its ">". False when there is none; the outputs then
// mean nothing.
bool findCloseTag(const String& text, unsigned int start, const String& name, unsigned int& closeStart,
                  unsigned int& closeEnd);

} // namespace zutl
