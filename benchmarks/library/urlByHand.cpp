// What the program does with the address of the page that sent the form, written by hand: parse, set one
// parameter, print.

#include "jobs.h"
#include "percent.h"

#include <array>
#include <charconv>

namespace {

struct Address {
    std::string scheme;
    std::string user;
    std::string password;
    std::string host;
    int port = -1;
    std::string path;
    std::map<std::string, std::string> parameters;
};

using byhand::decodeShort;

std::string decodeQuery(std::string_view text) {
    return byhand::decodeShort(text, [](char byte) { return byte == '+' ? ' ' : byte; });
}

void readAuthority(std::string_view text, Address& address) {
    const size_t at = text.find('@');
    if (at != text.npos) {
        const std::string_view information = text.substr(0, at);
        const size_t colon = information.find(':');
        address.user = decodeShort(information.substr(0, colon));
        if (colon != information.npos)
            address.password = decodeShort(information.substr(colon + 1));
        text.remove_prefix(at + 1);
    }
    const size_t colon = text.find(':');
    address.host = decodeShort(text.substr(0, colon));
    if (colon != text.npos) {
        address.port = 0;
        std::from_chars(text.data() + colon + 1, text.data() + text.size(), address.port);
    }
}

void readQuery(std::string_view text, Address& address) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('&'), text.size());
        const size_t equals = text.substr(0, end).find('=');
        if (equals != text.npos)
            address.parameters[decodeQuery(text.substr(0, equals))] =
                decodeQuery(text.substr(equals + 1, end - equals - 1));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

Address parseByHand(std::string_view text) {
    Address address;
    const size_t colon = text.find(':');
    if (colon != text.npos) {
        address.scheme = decodeShort(text.substr(0, colon));
        text.remove_prefix(colon + 1);
    }
    if (text.substr(0, 2) == "//") {
        text.remove_prefix(2);
        const size_t end = std::min(text.find_first_of("/?"), text.size());
        readAuthority(text.substr(0, end), address);
        text.remove_prefix(end);
        if (text.empty())
            return address;
    }
    if (text.empty() || (text.front() != '/' && text.front() != '?'))
        return Address();
    const size_t question = std::min(text.find('?'), text.size());
    if (question > 0)
        address.path = decodeShort(text.substr(1, question - 1));
    if (question < text.size())
        readQuery(text.substr(question + 1), address);
    return address;
}

// Which bytes a component escapes.
class Reserved {
public:
    constexpr explicit Reserved(std::string_view bytes) {
        member['%'] = true;
        for (const char byte : bytes)
            member[static_cast<unsigned char>(byte)] = true;
    }
    constexpr bool has(char byte) const { return member[static_cast<unsigned char>(byte)]; }

private:
    std::array<bool, 256> member{};
};

constexpr Reserved inScheme(":");
constexpr Reserved inUser("@:/");
constexpr Reserved inHost("@:/?");
constexpr Reserved inPath("?");
constexpr Reserved inName("=&+");
constexpr Reserved inValue("&+");

void append(std::string& text, const std::string& component, const Reserved& reserved) {
    constexpr char digits[] = "0123456789ABCDEF";
    const char* from = component.data();
    const char* const end = from + component.size();
    while (from < end) {
        const char* const plain = from;
        while (from < end && !reserved.has(*from))
            ++from;
        text.append(plain, from);
        if (from < end) {
            const unsigned char byte = static_cast<unsigned char>(*from++);
            const char escape[] = {'%', digits[byte >> 4], digits[byte & 15]};
            text.append(escape, sizeof escape);
        }
    }
}

void appendAuthority(std::string& text, const Address& address) {
    if (!address.user.empty()) {
        append(text, address.user, inUser);
        if (!address.password.empty()) {
            text += ':';
            append(text, address.password, inUser);
        }
        text += '@';
    }
    append(text, address.host, inHost);
    if (address.port >= 0) {
        std::array<char, 12> digits;
        text += ':';
        text.append(digits.data(),
                    std::to_chars(digits.data(), digits.data() + digits.size(), address.port).ptr);
    }
}

std::string printByHand(const Address& address) {
    std::string text;
    text.reserve(160);
    if (!address.scheme.empty()) {
        append(text, address.scheme, inScheme);
        text += ':';
    }
    if (!address.user.empty() || !address.host.empty() || address.port >= 0) {
        text += "//";
        appendAuthority(text, address);
    }
    if (!address.path.empty()) {
        text += '/';
        append(text, address.path, inPath);
    }
    char separator = '?';
    for (const auto& [name, value] : address.parameters) {
        text += separator;
        append(text, name, inName);
        text += '=';
        append(text, value, inValue);
        separator = '&';
    }
    return text;
}

} // namespace

std::string bench::rewriteByHand(std::string_view url) {
    Address address = parseByHand(url);
    address.parameters[parameter] = status;
    return printByHand(address);
}
