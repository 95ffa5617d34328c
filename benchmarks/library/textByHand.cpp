// The jobs on text written by hand.

#include "jobs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Copies the text; at each of the special bytes calls replace(to, from, end), which writes up to 8 bytes and
// advances `to` and `from`. Works in blocks of 16 bytes if the machine's baseline has registers for that.
template <char... Special, typename Replace>
std::string rewrite(std::string_view text, Replace replace) {
    constexpr size_t block = 16;
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    std::array<char, 4096> chunk; // stays in the first cache, and no byte of the result is written twice
    char* to = chunk.data();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from < end) {
        if (to > chunk.data() + chunk.size() - block - 8) {
            result.append(chunk.data(), to);
            to = chunk.data();
        }
#if defined(__SSE2__)
        if (end - from >= static_cast<std::ptrdiff_t>(block)) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
            const int found = _mm_movemask_epi8((_mm_cmpeq_epi8(bytes, _mm_set1_epi8(Special)) | ...));
            const size_t plain =
                found == 0 ? block : static_cast<size_t>(__builtin_ctz(static_cast<unsigned int>(found)));
            to += plain;
            from += plain;
            if (found != 0)
                replace(to, from, end);
            continue;
        }
#endif
        if (((*from == Special) || ...))
            replace(to, from, end);
        else
            *to++ = *from++;
    }
    return result.append(chunk.data(), to);
}

// Returns what is before the delimiter and removes both from the text.
std::string_view take(std::string_view& text, char delimiter) {
    const size_t length = std::min(text.find(delimiter), text.size());
    const std::string_view taken = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return taken;
}

constexpr unsigned int noDigit = 16;

constexpr auto digitValues = [] {
    std::array<unsigned char, 256> values{};
    for (unsigned int byte = 0; byte < 256; ++byte)
        values[byte] = static_cast<unsigned char>(byte >= '0' && byte <= '9'   ? byte - '0'
                                                  : byte >= 'a' && byte <= 'f' ? byte - 'a' + 10
                                                  : byte >= 'A' && byte <= 'F' ? byte - 'A' + 10
                                                                               : noDigit);
    return values;
}();

// Returns the byte that two digits encode, as far as they are digits.
char escapedByte(const char* digits) {
    const unsigned int high = digitValues[static_cast<unsigned char>(digits[0])];
    const unsigned int low = digitValues[static_cast<unsigned char>(digits[1])];
    return static_cast<char>(high == noDigit ? 0 : low == noDigit ? high : high * 16 + low);
}

// Percent-decoding byte by byte, which is best for the short pieces of a url or a form. Each byte outside an
// escape goes through `change`.
template <typename Change>
std::string decodeShort(std::string_view text, Change change) {
    std::string result(text);
    char* to = result.data();
    const char* from = to;
    const char* const end = from + text.size();
    while (from < end) {
        if (*from == '%' && end - from > 2) {
            *to++ = escapedByte(from + 1);
            from += 3;
        } else {
            *to++ = change(*from++);
        }
    }
    if (to != end)
        result.resize(static_cast<size_t>(to - result.data()));
    return result;
}

std::string decodeShort(std::string_view text) {
    return decodeShort(text, [](char byte) { return byte; });
}

// Eight bytes are copied whatever the length: one move and no branch.
struct Entity {
    char byte;
    char text[8];
    std::ptrdiff_t length;
};

constexpr std::array<Entity, 5> entities{
    {{'&', "&amp;", 5}, {'<', "&lt;", 4}, {'>', "&gt;", 4}, {'\'', "&apos;", 6}, {'"', "&quot;", 6}}};

constexpr auto entityOf = [] {
    std::array<Entity, 256> all{};
    for (const Entity& entity : entities)
        all[static_cast<unsigned char>(entity.byte)] = entity;
    return all;
}();

// --- Addresses ---

struct Address {
    std::string scheme, user, password, host, path;
    int port = -1;
    std::map<std::string, std::string> parameters;
};

std::string decodeQuery(std::string_view text) {
    return decodeShort(text, [](char byte) { return byte == '+' ? ' ' : byte; });
}

void readAuthority(std::string_view text, Address& address) {
    if (text.find('@') != text.npos) {
        std::string_view user = take(text, '@');
        address.user = decodeShort(take(user, ':'));
        address.password = decodeShort(user);
    }
    const bool hasPort = text.find(':') != text.npos;
    address.host = decodeShort(take(text, ':'));
    if (hasPort) {
        address.port = 0;
        std::from_chars(text.data(), text.data() + text.size(), address.port);
    }
}

void readQuery(std::string_view text, Address& address) {
    while (!text.empty()) {
        std::string_view value = take(text, '&');
        if (value.find('=') != value.npos) {
            const std::string_view name = take(value, '=');
            address.parameters[decodeQuery(name)] = decodeQuery(value);
        }
    }
}

Address parse(std::string_view text) {
    Address address;
    if (text.find(':') != text.npos)
        address.scheme = decodeShort(take(text, ':'));
    if (text.substr(0, 2) == "//") {
        const size_t end = std::min(text.find_first_of("/?", 2), text.size());
        readAuthority(text.substr(2, end - 2), address);
        text.remove_prefix(end);
    }
    if (!text.empty() && text.front() != '/' && text.front() != '?')
        return Address();
    const std::string_view path = take(text, '?');
    address.path = decodeShort(path.substr(std::min<size_t>(1, path.size())));
    readQuery(text, address);
    return address;
}

// Which bytes a component escapes.
struct Reserved {
    constexpr explicit Reserved(std::string_view bytes) {
        has['%'] = true;
        for (const char byte : bytes)
            has[static_cast<unsigned char>(byte)] = true;
    }
    std::array<bool, 256> has{};
};

constexpr Reserved inScheme(":"), inUser("@:/"), inHost("@:/?"), inPath("?"), inName("=&+"), inValue("&+");

void append(std::string& text, std::string_view before, const std::string& component,
            const Reserved& reserved) {
    text += before;
    const char* from = component.data();
    const char* const end = from + component.size();
    while (from < end) {
        const char* const plain = from;
        while (from < end && !reserved.has[static_cast<unsigned char>(*from)])
            ++from;
        text.append(plain, from);
        if (from < end) {
            const unsigned char byte = static_cast<unsigned char>(*from++);
            const char escape[] = {'%', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
            text.append(escape, sizeof escape);
        }
    }
}

void appendAuthority(std::string& text, const Address& address) {
    std::string_view before = "//";
    if (!address.user.empty()) {
        append(text, before, address.user, inUser);
        if (!address.password.empty())
            append(text, ":", address.password, inUser);
        before = "@";
    }
    append(text, before, address.host, inHost);
    if (address.port >= 0) {
        char digits[12] = ":";
        text.append(digits, std::to_chars(digits + 1, digits + sizeof digits, address.port).ptr);
    }
}

std::string print(const Address& address) {
    std::string text;
    text.reserve(160);
    append(text, "", address.scheme, inScheme);
    if (!address.scheme.empty())
        text += ':';
    if (!address.user.empty() || !address.host.empty() || address.port >= 0)
        appendAuthority(text, address);
    if (!address.path.empty())
        append(text, "/", address.path, inPath);
    for (const auto& [name, value] : address.parameters) {
        append(text, &address.parameters.begin()->first == &name ? "?" : "&", name, inName);
        append(text, "=", value, inValue);
    }
    return text;
}

} // namespace

std::string rewriteByHand(std::string_view url) {
    Address address = parse(url);
    address.parameters[parameter] = status;
    return print(address);
}

std::string unescapeByHand(const std::string& text) {
    return rewrite<'&'>(text, [](char*& to, const char*& from, const char* end) {
        for (const Entity& entity : entities) {
            if (end - from >= entity.length && from[1] == entity.text[1] &&
                std::memcmp(from, entity.text, static_cast<size_t>(entity.length)) == 0) {
                *to++ = entity.byte;
                from += entity.length;
                return;
            }
        }
        *to++ = *from++;
    });
}

void decodeFormByHand(std::string_view text, PlainMap& fields) {
    const auto lower = [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
    };
    fields.clear();
    while (!text.empty()) {
        std::string_view value = take(text, '&');
        if (value.empty())
            continue;
        const bool hasName = value.find('=') != value.npos;
        const std::string_view name = hasName ? take(value, '=') : value;
        fields.try_emplace(decodeShort(name, lower), decodeShort(value));
    }
}

std::string decodePercentByHand(const std::string& text) {
    return rewrite<'%'>(text, [](char*& to, const char*& from, const char* end) {
        const bool isEscape = end - from > 2;
        *to++ = isEscape ? escapedByte(from + 1) : *from;
        from += isEscape ? 3 : 1;
    });
}

std::string escapeByHand(const std::string& text) {
    return rewrite<'&', '<', '>', '\'', '"'>(text, [](char*& to, const char*& from, const char*) {
        const Entity& entity = entityOf[static_cast<unsigned char>(*from++)];
        std::memcpy(to, entity.text, sizeof entity.text);
        to += entity.length;
    });
}
