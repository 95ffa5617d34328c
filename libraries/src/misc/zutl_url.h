#pragma once
// zutl::url: splits a URL text into its decoded components and prints them back.

#include "zusl_Map.h"
#include "zutl_Integer.h"
#include "zutl_String.h"

#include <algorithm>
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
    url(const String& text) { *this = parse(text); }

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

    // Turns each byte that stands in `reserved`, and "%", into "%" and two upper-case hexadecimal digits.
    static String encode(const String& text, const char* reserved);

private:
    static String decoded(std::string_view text, bool plusAsSpace);
    static char escapedByte(char high, char low);
    void readAuthority(std::string_view authority);
    void readQuery(std::string_view text);
    String authority() const;
};

// The operations that only url itself uses look at views of the text, so that nothing is copied but the
// results.

inline char url::escapedByte(char high, char low) {
    constexpr int none = 16;
    const auto digit = [](char byte) {
        if (byte >= '0' && byte <= '9')
            return byte - '0';
        const int letter = byte | 0x20;
        return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : none;
    };
    const int first = digit(high);
    if (first == none)
        return '\0';
    const int second = digit(low);
    return static_cast<char>(second == none ? first : first * 16 + second);
}

inline String url::decoded(std::string_view text, bool plusAsSpace) {
    String result;
    result.reserve(text.size());
    const auto appendPlain = [&](std::string_view plain) {
        const size_t start = result.size();
        result.append(plain);
        if (plusAsSpace)
            std::replace(result.begin() + static_cast<std::ptrdiff_t>(start), result.end(), '+', ' ');
    };
    for (;;) {
        const size_t escape = text.find('%');
        if (escape == text.npos || escape + 2 >= text.size())
            break;
        appendPlain(text.substr(0, escape));
        result += escapedByte(text[escape + 1], text[escape + 2]);
        text.remove_prefix(escape + 3);
    }
    appendPlain(text);
    return result;
}

inline String url::decode(const String& text, bool plusAsSpace) {
    return decoded(text, plusAsSpace);
}

inline String url::encode(const String& text, const char* reserved) {
    constexpr char digits[] = "0123456789ABCDEF";
    const std::string_view escaped(reserved != nullptr ? reserved : "");
    String result;
    result.reserve(text.size());
    for (const char byte : text) {
        if (byte != '%' && escaped.find(byte) == escaped.npos) {
            result += byte;
            continue;
        }
        result += '%';
        result += digits[static_cast<unsigned char>(byte) >> 4];
        result += digits[static_cast<unsigned char>(byte) & 15];
    }
    return result;
}

inline url url::parse(const String& text) {
    url result;
    std::string_view rest(text);
    const size_t schemeEnd = rest.find(':');
    if (schemeEnd != rest.npos) {
        result.scheme = decoded(rest.substr(0, schemeEnd), false);
        rest.remove_prefix(schemeEnd + 1);
    }
    if (rest.substr(0, 2) == "//") {
        rest.remove_prefix(2);
        const size_t end = std::min(rest.find_first_of("/?"), rest.size());
        result.readAuthority(rest.substr(0, end));
        rest.remove_prefix(end);
        if (rest.empty())
            return result;
    }
    if (rest.empty() || (rest.front() != '/' && rest.front() != '?'))
        return url();
    const size_t pathEnd = std::min(rest.find('?'), rest.size());
    if (pathEnd > 0)
        result.path = decoded(rest.substr(1, pathEnd - 1), false);
    if (pathEnd < rest.size())
        result.readQuery(rest.substr(pathEnd + 1));
    return result;
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

inline String url::authority() const {
    String text;
    if (!user.empty()) {
        text = encode(user, "@:/");
        if (!password.empty())
            text += ":" + encode(password, "@:/");
        text += "@";
    }
    text += encode(host, "@:/?");
    if (port >= 0)
        text += ":" + String::fromInteger(port);
    return text;
}

inline String url::query() const {
    String text;
    for (const auto& [name, value] : parameters) {
        if (!text.empty())
            text += '&';
        text += encode(name, "=&+");
        text += '=';
        text += encode(value, "&+");
    }
    return text;
}

inline url::operator const String() const {
    String text;
    if (!scheme.empty())
        text = encode(scheme, ":") + ":";
    const String authorityText = authority();
    if (!authorityText.empty())
        text += "//" + authorityText;
    if (!path.empty())
        text += "/" + encode(path, "?");
    if (!parameters.empty())
        text += "?" + query();
    return text;
}

} // namespace zutl
