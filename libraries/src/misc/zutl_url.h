#pragma once
// zutl::url: splits a URL text into its decoded components and prints them back.

#include "zusl_Map.h"
#include "zutl_Block.h"
#include "zutl_ByteSet.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace zutl {

// A plain value: parse, change, print. Works on bytes; nothing is reported as an error. Text that is not
// accepted gives the empty url, which prints as empty text. A "#" is ordinary text: there is no fragment.
class url {
public:
    String scheme;                      // before the first ":" of the text; empty when there is none
    String host;                        // these four without their escapes
    String user;                        //
    String password;                    //
    Integer port = -1;                  // -1 when the text names none
    String path;                        // decoded, without its leading "/"
    zusl::StringMap<String> parameters; // query parameters, decoded name to decoded value

    url() = default;

    // What parse gives for the text.
    url(const String& text) { read(text); }

    url(const url& other) = default;
    url(url&& other) = default;
    url& operator=(const url& other) = default;
    url& operator=(url&& other) = default;
    virtual ~url() = default;

    // The components of the text. Not accepted: text in which neither "//" nor "/" nor "?" stands where the
    // scheme ends (a relative page.html, mailto:name), so a first ":" anywhere is taken as the end of a
    // scheme. A parameter without "=" is left out; of two with one name the later one stays. A port that is
    // no number gives 0.
    static url parse(const String& text);

    // The URL text. Escapes "%" and what would end the component: ":" in the scheme; "@", ":" and "/" in user
    // and password, but not "?"; these four in the host; "?" in the path. An authority that is empty is not
    // printed, nor a password without a user, nor a negative port.
    operator const String() const;

    // name=value pairs in ascending order of names, joined by "&", without the leading "?".
    String query() const;

    // Turns each "%" that has two bytes after it, and these, into the byte that their leading hexadecimal
    // digits give (0 without one); a "%" nearer to the end stays. With plusAsSpace every "+" that stands in
    // the text becomes a space.
    static String decode(const String& text, bool plusAsSpace);
    static String decode(String&& text, bool plusAsSpace);

    // Turns each byte that stands in `reserved`, and "%", into "%" and two upper-case hexadecimal digits.
    static String encode(const String& text, const char* reserved);

private:
    static constexpr size_t pieceSize = 4096; // stays in the first cache
    static String decoded(std::string_view text, bool plusAsSpace);
    static String decodedInPieces(std::string_view text, bool plusAsSpace);
    static char escapedByte(const char* digits);
    template <bool plusAsSpace>
    static char* decodePiece(char* to, const char* limit, const char*& next, const char* end);
    static void appendEncoded(String& result, std::string_view text, const ByteSet& escaped);

    void read(std::string_view text);
    void readAuthority(std::string_view authority);
    void readQuery(std::string_view text);
    void appendAuthority(String& text) const;
    void appendQuery(String& text) const;

    static constexpr size_t typicalLength = 256; // bytes; spares the growing in small steps

    // What each component escapes.
    static constexpr ByteSet escapedInScheme = ByteSet("%:");
    static constexpr ByteSet escapedInUser = ByteSet("%@:/"); // and in the password
    static constexpr ByteSet escapedInHost = ByteSet("%@:/?");
    static constexpr ByteSet escapedInPath = ByteSet("%?");
    static constexpr ByteSet escapedInName = ByteSet("%=&+");
    static constexpr ByteSet escapedInValue = ByteSet("%&+");
};

// The operations that only url itself uses look at views of the text and append to one result, so that
// nothing is copied twice.

// The byte of an escape: its two digits, as far as they are digits.
inline char url::escapedByte(const char* digits) {
    constexpr unsigned char none = 16;
    static constexpr auto values = [] {
        std::array<unsigned char, 256> table{};
        for (unsigned int byte = 0; byte < table.size(); ++byte) {
            const unsigned int letter = (byte | 0x20U) - 'a';
            const unsigned int value = byte - '0' < 10 ? byte - '0' : letter < 6 ? letter + 10 : none;
            table[byte] = static_cast<unsigned char>(value);
        }
        return table;
    }();
    const unsigned int first = values[static_cast<unsigned char>(digits[0])];
    const unsigned int second = values[static_cast<unsigned char>(digits[1])];
    if (first == none)
        return '\0';
    return static_cast<char>(second == none ? first : first * 16 + second);
}

// Decodes as much of [next, end) as the room up to the limit surely takes, moves `next` behind it and returns
// the end of what was written. A whole block is stored before it is known how much of it is plain.
template <bool plusAsSpace>
char* url::decodePiece(char* to, const char* limit, const char*& next, const char* end) {
    constexpr std::ptrdiff_t blockSize = Block::size;
    const char* from = next; // a variable that nothing written through `to` can be
    while (end - from >= blockSize) {
        if (limit - to < blockSize) {
            next = from;
            return to;
        }
        Block block(from);
        const size_t plain = block.find('%');
        if constexpr (plusAsSpace)
            block.replace('+', ' ');
        block.store(to);
        if (plain == Block::size) { // by a constant, so that the next block need not wait for this one
            to += Block::size;
            from += Block::size;
            continue;
        }
        to += plain;
        from += plain;
        if (end - from <= 2)
            break;
        *to++ = escapedByte(from + 1);
        from += 3;
    }
    while (from < end && to < limit) {
        if (*from == '%' && end - from > 2) {
            *to++ = escapedByte(from + 1);
            from += 3;
        } else {
            *to++ = plusAsSpace && *from == '+' ? ' ' : *from;
            ++from;
        }
    }
    next = from;
    return to;
}

inline String url::decoded(std::string_view text, bool plusAsSpace) {
    if (text.size() > pieceSize)
        return decodedInPieces(text, plusAsSpace);
    String result(text); // gives it its room, which a decoded text never exceeds
    const char* from = text.data();
    char* const start = result.data();
    const char* const limit = start + text.size();
    const char* const end = plusAsSpace ? decodePiece<true>(start, limit, from, from + text.size())
                                        : decodePiece<false>(start, limit, from, from + text.size());
    if (end != limit)
        result.resize(static_cast<size_t>(end - start));
    return result;
}

inline String url::decodedInPieces(std::string_view text, bool plusAsSpace) {
    const auto decodeInto = plusAsSpace ? decodePiece<true> : decodePiece<false>;
    std::array<char, pieceSize> piece;
    const char* from = text.data();
    const char* const end = from + text.size();
    String result;
    result.reserve(text.size());
    while (from < end) {
        const char* const pieceEnd = decodeInto(piece.data(), piece.data() + piece.size(), from, end);
        result.append(piece.data(), static_cast<size_t>(pieceEnd - piece.data()));
    }
    return result;
}

inline String url::decode(const String& text, bool plusAsSpace) {
    return decoded(text, plusAsSpace);
}

inline String url::decode(String&& text, bool plusAsSpace) {
    // Most texts are their own decoded form.
    const bool isPlain = text.find('%') == text.npos && !(plusAsSpace && text.find('+') != text.npos);
    return isPlain ? std::move(text) : decoded(text, plusAsSpace);
}

inline void url::appendEncoded(String& result, std::string_view text, const ByteSet& escaped) {
    static constexpr char digits[] = "0123456789ABCDEF";
    while (!text.empty()) {
        const size_t plain = std::min(escaped.findIn(text, 0), text.size());
        result.append(text.data(), plain);
        text.remove_prefix(plain);
        if (text.empty())
            return;
        const unsigned char byte = static_cast<unsigned char>(text.front());
        const char escape[] = {'%', digits[byte >> 4], digits[byte & 15]};
        result.append(escape, sizeof escape);
        text.remove_prefix(1);
    }
}

inline String url::encode(const String& text, const char* reserved) {
    String escaped("%");
    escaped += reserved != nullptr ? reserved : "";
    String result;
    result.reserve(text.size());
    appendEncoded(result, text, ByteSet(escaped));
    return result;
}

inline url url::parse(const String& text) {
    return url(text);
}

inline void url::read(std::string_view rest) {
    const size_t schemeEnd = rest.find(':');
    if (schemeEnd != rest.npos) {
        scheme = decoded(rest.substr(0, schemeEnd), false);
        rest.remove_prefix(schemeEnd + 1);
    }
    if (rest.substr(0, 2) == "//") {
        rest.remove_prefix(2);
        const size_t end = std::min(rest.find_first_of("/?"), rest.size());
        readAuthority(rest.substr(0, end));
        rest.remove_prefix(end);
        if (rest.empty())
            return;
    }
    if (rest.empty() || (rest.front() != '/' && rest.front() != '?')) {
        *this = url();
        return;
    }
    const size_t pathEnd = std::min(rest.find('?'), rest.size());
    if (pathEnd > 0)
        path = decoded(rest.substr(1, pathEnd - 1), false);
    if (pathEnd < rest.size())
        readQuery(rest.substr(pathEnd + 1));
}

inline void url::readAuthority(std::string_view authority) {
    const size_t at = authority.find('@');
    if (at != authority.npos) {
        const std::string_view information = authority.substr(0, at);
        const size_t colon = information.find(':');
        user = decoded(information.substr(0, colon), false);
        if (colon != information.npos)
            password = decoded(information.substr(colon + 1), false);
        authority.remove_prefix(at + 1);
    }
    const size_t colon = authority.find(':');
    host = decoded(authority.substr(0, colon), false);
    if (colon != authority.npos)
        port = String(authority.substr(colon + 1)).toInt();
}

inline void url::readQuery(std::string_view text) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('&'), text.size());
        const std::string_view item = text.substr(0, end);
        const size_t equals = item.find('=');
        if (equals != item.npos)
            parameters[decoded(item.substr(0, equals), true)] = decoded(item.substr(equals + 1), true);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

inline void url::appendAuthority(String& text) const {
    text += "//";
    const size_t start = text.size();
    if (!user.empty()) {
        appendEncoded(text, user, escapedInUser);
        if (!password.empty()) {
            text += ':';
            appendEncoded(text, password, escapedInUser);
        }
        text += '@';
    }
    appendEncoded(text, host, escapedInHost);
    if (port >= 0) {
        text += ':';
        text += String::fromInteger(port);
    }
    if (text.size() == start) // no authority, no slashes
        text.resize(start - 2);
}

inline void url::appendQuery(String& text) const {
    bool first = true;
    for (const auto& [name, value] : parameters) {
        if (!first)
            text += '&';
        appendEncoded(text, name, escapedInName);
        text += '=';
        appendEncoded(text, value, escapedInValue);
        first = false;
    }
}

inline String url::query() const {
    String text;
    appendQuery(text);
    return text;
}

inline url::operator const String() const {
    String text;
    text.reserve(typicalLength);
    if (!scheme.empty()) {
        appendEncoded(text, scheme, escapedInScheme);
        text += ':';
    }
    appendAuthority(text);
    if (!path.empty()) {
        text += '/';
        appendEncoded(text, path, escapedInPath);
    }
    if (!parameters.empty()) {
        text += '?';
        appendQuery(text);
    }
    return text;
}

} // namespace zutl
