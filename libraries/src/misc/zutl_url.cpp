#include "zutl_url.h"

#include "zutl_ByteSet.h"
#include "zutl_Word.h"

#include <algorithm>
#include <array>
#include <utility>

namespace zutl {

namespace {

constexpr size_t typicalLength = 256; // bytes; spares the growing in small steps

// What each component escapes.
constexpr ByteSet escapedInScheme("%:");
constexpr ByteSet escapedInUser("%@:/"); // and in the password
constexpr ByteSet escapedInHost("%@:/?");
constexpr ByteSet escapedInPath("%?");
constexpr ByteSet escapedInName("%=&+");
constexpr ByteSet escapedInValue("%&+");

// Returns the byte that the two hexadecimal digits of an escape give; fewer digits count as far as they go.
char escapedByte(const char* digits) {
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

// Decodes [from, end) byte by byte and returns the end of the decoded bytes. `to` may be `from`.
char* decodeShort(const char* from, const char* end, char* to, bool plusAsSpace) {
    const char plus = plusAsSpace ? ' ' : '+';
    while (from < end) {
        if (*from == '%' && end - from > 2) {
            *to++ = escapedByte(from + 1);
            from += 3;
        } else {
            *to++ = *from == '+' ? plus : *from;
            ++from;
        }
    }
    return to;
}

// Decodes [from, end) and returns the end of the decoded bytes. A whole word is stored before it is known how
// much of it is plain. Requires room at `to` for as many bytes.
template <bool plusAsSpace>
char* decodeBytes(const char* from, const char* end, char* to) {
    constexpr std::ptrdiff_t wordSize = Word::size;
    while (end - from >= wordSize) {
        Word word(from);
        const size_t plain = word.find(Word::Pattern{'%'});
        if constexpr (plusAsSpace)
            word.replace('+', ' ');
        word.store(to);
        if (plain == Word::size) { // by a constant, so that the next word need not wait for this one
            to += Word::size;
            from += Word::size;
            continue;
        }
        to += plain;
        from += plain;
        if (end - from <= 2)
            break;
        *to++ = escapedByte(from + 1);
        from += 3;
    }
    return decodeShort(from, end, to, plusAsSpace);
}

String decoded(std::string_view text, bool plusAsSpace) {
    String result(text); // gives it its room, which a decoded text never exceeds
    const size_t plain = plusAsSpace ? 0 : std::min(text.find('%'), text.size());
    const char* const from = text.data() + plain;
    const char* const end = text.data() + text.size();
    char* const to = result.data() + plain;
    const char* const resultEnd =
        plusAsSpace ? decodeBytes<true>(from, end, to) : decodeBytes<false>(from, end, to);
    if (resultEnd != result.data() + result.size())
        result.resize(static_cast<size_t>(resultEnd - result.data()));
    return result;
}

void appendEncoded(String& result, std::string_view text, const ByteSet& escaped) {
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

} // namespace

String url::decode(const String& text, bool plusAsSpace) {
    return decoded(text, plusAsSpace);
}

void url::decodeInPlace(String& text, bool plusAsSpace) {
    const size_t plain = plusAsSpace ? 0 : std::min(text.find('%'), text.size());
    char* const changed = text.data() + plain;
    const char* const end = decodeShort(changed, text.data() + text.size(), changed, plusAsSpace);
    text.erase(static_cast<size_t>(end - text.data()));
}

String url::encode(const String& text, const char* reserved) {
    String escaped("%");
    escaped += reserved != nullptr ? reserved : "";
    String result;
    result.reserve(text.size());
    appendEncoded(result, text, ByteSet(escaped));
    return result;
}

url url::parse(const String& text) {
    return url(text);
}

void url::read(std::string_view rest) {
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

void url::readAuthority(std::string_view authority) {
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

void url::readQuery(std::string_view text) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('&'), text.size());
        const std::string_view item = text.substr(0, end);
        const size_t equals = item.find('=');
        if (equals != item.npos)
            parameters[decoded(item.substr(0, equals), true)] = decoded(item.substr(equals + 1), true);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void url::appendAuthority(String& text) const {
    if (user.empty() && host.empty() && port < 0)
        return;
    text += "//";
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
}

void url::appendQuery(String& text) const {
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

String url::query() const {
    String text;
    appendQuery(text);
    return text;
}

url::operator const String() const {
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
