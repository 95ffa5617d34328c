// The jobs on text written by hand.

#include "jobs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Copies the text; at each of the special bytes calls replace(to, from, end), which writes up to 8 bytes and
// advances `to` and `from`. Works in blocks of 16 bytes if the machine's baseline has registers for that.
template <char... Special, typename Replace>
std::string rewrite(std::string_view text, Replace replace) {
    constexpr int block = 16;
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    std::array<char, 4096> chunk; // stays in the first cache, and no byte of the result is written twice
    char* to = chunk.data();
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from < end) {
        if (to > chunk.end() - block - 8) {
            result.append(chunk.data(), to);
            to = chunk.data();
        }
#if defined(__SSE2__)
        if (end - from >= block) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
            const int found = _mm_movemask_epi8((_mm_cmpeq_epi8(bytes, _mm_set1_epi8(Special)) | ...));
            const int plain = found == 0 ? block : __builtin_ctz(static_cast<unsigned int>(found));
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

// Moves what is before the delimiter to `before` and removes both. Without a delimiter returns false and
// leaves the text alone.
bool split(std::string_view& text, char delimiter, std::string_view& before) {
    const size_t length = text.find(delimiter);
    if (length == text.npos)
        return false;
    before = text.substr(0, length);
    text.remove_prefix(length + 1);
    return true;
}

// Returns what is before the delimiter, or else the whole text, and removes it with the delimiter.
std::string_view take(std::string_view& text, char delimiter) {
    std::string_view taken;
    return split(text, delimiter, taken) ? taken : std::exchange(text, {});
}

// By byte, one more than the digit's value; 0 for what is no digit.
constexpr auto digits = [] {
    std::array<unsigned char, 256> values{};
    for (unsigned char value = 0; value < 16; ++value)
        for (const char* const all : {"0123456789abcdef", "0123456789ABCDEF"})
            values[static_cast<unsigned char>(all[value])] = value + 1;
    return values;
}();

// Returns the byte that two digits encode, as far as they are digits.
char escapedByte(const char* escape) {
    const int high = digits[static_cast<unsigned char>(escape[0])];
    const int low = digits[static_cast<unsigned char>(escape[1])];
    return static_cast<char>(high == 0 ? 0 : low == 0 ? high - 1 : high * 16 + low - 17);
}

constexpr auto same = [](char byte) { return byte; };
constexpr auto spaceForPlus = [](char byte) { return byte == '+' ? ' ' : byte; };
constexpr auto lowerCase = [](char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
};

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

void readAuthority(std::string_view text, Address& address) {
    std::string_view user;
    if (split(text, '@', user)) {
        address.user = decodeShort(take(user, ':'), same);
        address.password = decodeShort(user, same);
    }
    std::string_view host = text;
    if (split(text, ':', host)) {
        address.port = 0;
        std::from_chars(text.data(), text.data() + text.size(), address.port);
    }
    address.host = decodeShort(host, same);
}

Address parse(std::string_view text) {
    Address address;
    std::string_view name;
    if (split(text, ':', name))
        address.scheme = decodeShort(name, same);
    if (text.substr(0, 2) == "//") {
        const size_t end = std::min(text.find_first_of("/?", 2), text.size());
        readAuthority(text.substr(2, end - 2), address);
        text.remove_prefix(end);
    }
    if (!text.empty() && text.front() != '/' && text.front() != '?')
        return Address();
    const std::string_view path = take(text, '?');
    address.path = decodeShort(path.substr(path.empty() ? 0 : 1), same);
    while (!text.empty()) {
        std::string_view value = take(text, '&');
        if (split(value, '=', name))
            address.parameters[decodeShort(name, spaceForPlus)] = decodeShort(value, spaceForPlus);
    }
    return address;
}

// By byte: whether a component escapes it.
using Reserved = std::array<bool, 256>;

constexpr Reserved reserved(std::string_view bytes) {
    Reserved isReserved{};
    for (const char byte : bytes)
        isReserved[static_cast<unsigned char>(byte)] = true;
    return isReserved;
}

constexpr Reserved inScheme = reserved("%:"), inUser = reserved("%@:/"), inHost = reserved("%@:/?"),
                   inPath = reserved("%?"), inName = reserved("%=&+"), inValue = reserved("%&+");

// Appends the component with its escapes; and the delimiter, unless the component is empty.
void append(std::string& text, const std::string& component, const Reserved& isReserved,
            std::string_view delimiter = "") {
    for (const char *from = component.data(), *const end = from + component.size(); from < end; ++from) {
        const char* const plain = from;
        from = std::find_if(from, end, [&](unsigned char byte) { return isReserved[byte]; });
        text.append(plain, from);
        if (from == end)
            break;
        const auto byte = static_cast<unsigned char>(*from);
        text.append({'%', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]});
    }
    text += component.empty() ? "" : delimiter;
}

std::string print(const Address& address) {
    std::string text;
    text.reserve(160);
    append(text, address.scheme, inScheme, ":");
    if (!address.user.empty() || !address.host.empty() || address.port >= 0)
        text += "//";
    append(text, address.user, inUser, address.password.empty() ? "@" : ":");
    append(text, address.password, inUser, "@");
    append(text, address.host, inHost);
    if (address.port >= 0)
        text += ':' + std::to_string(address.port);
    if (!address.path.empty())
        text += '/';
    append(text, address.path, inPath);
    char before = '?';
    for (const auto& [name, value] : address.parameters) {
        text += std::exchange(before, '&');
        append(text, name, inName);
        text += '=';
        append(text, value, inValue);
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
    fields.clear();
    while (!text.empty()) {
        std::string_view value = take(text, '&');
        if (value.empty())
            continue;
        std::string_view name = value;
        split(value, '=', name);
        fields.try_emplace(decodeShort(name, lowerCase), decodeShort(value, same));
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
