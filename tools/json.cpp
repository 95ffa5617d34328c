#include "json.h"

#include <algorithm>
#include <cstdint>

namespace json {

namespace {

constexpr int mostLevels = 16;
constexpr std::string_view digits = "0123456789";

void appendUtf8(std::string& text, std::uint32_t code) {
    const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (code < 0x80)
        return append(code);
    if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else {
        if (code < 0x10000) {
            append(0xE0 | code >> 12);
        } else {
            append(0xF0 | code >> 18);
            append(0x80 | (code >> 12 & 0x3F));
        }
        append(0x80 | (code >> 6 & 0x3F));
    }
    append(0x80 | (code & 0x3F));
}

class Parser {
public:
    explicit Parser(std::string_view text) : rest(text) {}

    bool document(Value& value) {
        const bool isValid = element(value, 0);
        skipBlanks();
        return isValid && rest.empty();
    }

private:
    void skipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size())); }
    bool take(std::string_view token) {
        if (rest.substr(0, token.size()) != token)
            return false;
        rest.remove_prefix(token.size());
        return true;
    }
    // Skips blanks before the token.
    bool takeNext(std::string_view token) {
        skipBlanks();
        return take(token);
    }
    bool takeDigits() {
        const size_t count = std::min(rest.find_first_not_of(digits), rest.size());
        rest.remove_prefix(count);
        return count > 0;
    }
    bool element(Value& value, int level);
    bool literal(Value& value);
    bool number(Value& value);
    bool string(std::string& text);
    bool escape(std::string& text);
    bool hex(std::uint32_t& code);
    bool array(Value& value, int level);
    bool object(Value& value, int level);

    std::string_view rest;
};

bool Parser::element(Value& value, int level) {
    if (level == mostLevels)
        return false;
    if (takeNext("[")) {
        value.kind = Value::Kind::array;
        return array(value, level);
    }
    if (take("{")) {
        value.kind = Value::Kind::object;
        return object(value, level);
    }
    if (take("\"")) {
        value.kind = Value::Kind::string;
        return string(value.text);
    }
    return literal(value) || number(value);
}

bool Parser::literal(Value& value) {
    for (const char* const word : {"true", "false"})
        if (take(word)) {
            value.kind = Value::Kind::boolean;
            value.text = word;
            return true;
        }
    return take("null");
}

bool Parser::number(Value& value) {
    const std::string_view begin = rest;
    value.kind = Value::Kind::number;
    take("-");
    if (!take("0") && !takeDigits())
        return false;
    if (take(".") && !takeDigits())
        return false;
    if (take("e") || take("E")) {
        if (!take("+"))
            take("-");
        if (!takeDigits())
            return false;
    }
    value.text = begin.substr(0, begin.size() - rest.size());
    return true;
}

// Parses a string after its opening quote.
bool Parser::string(std::string& text) {
    while (!rest.empty()) {
        if (take("\""))
            return true;
        if (take("\\")) {
            if (!escape(text))
                return false;
            continue;
        }
        const auto isSpecial = [](unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\'; };
        const auto length =
            static_cast<size_t>(std::find_if(rest.begin(), rest.end(), isSpecial) - rest.begin());
        if (length == 0)
            return false;
        text += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    return false;
}

// Parses an escape after its backslash.
bool Parser::escape(std::string& text) {
    constexpr std::string_view names("\"\\/bfnrt"), bytes("\"\\/\b\f\n\r\t");
    if (take("u")) {
        std::uint32_t code, low;
        if (!hex(code))
            return false;
        if (code >= 0xD800 && code < 0xE000) { // the first of a pair
            if (code >= 0xDC00 || !take("\\u") || !hex(low) || low < 0xDC00 || low >= 0xE000)
                return false;
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        }
        appendUtf8(text, code);
        return true;
    }
    const size_t name = rest.empty() ? names.npos : names.find(rest.front());
    if (name == names.npos)
        return false;
    text += bytes[name];
    rest.remove_prefix(1);
    return true;
}

bool Parser::hex(std::uint32_t& code) {
    constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
    const std::string four(rest.substr(0, 4));
    if (four.size() < 4 || four.find_first_not_of(hexDigits) != four.npos)
        return false;
    code = static_cast<std::uint32_t>(std::stoul(four, nullptr, 16));
    rest.remove_prefix(4);
    return true;
}

bool Parser::array(Value& value, int level) {
    if (takeNext("]"))
        return true;
    do
        if (!element(value.items.emplace_back(), level + 1))
            return false;
    while (takeNext(","));
    return take("]");
}

bool Parser::object(Value& value, int level) {
    if (takeNext("}"))
        return true;
    do {
        auto& [name, member] = value.members.emplace_back();
        if (!takeNext("\"") || !string(name) || !takeNext(":") || !element(member, level + 1))
            return false;
    } while (takeNext(","));
    return take("}");
}

} // namespace

const Value* Value::find(std::string_view name) const {
    for (const auto& [memberName, member] : members)
        if (memberName == name)
            return &member;
    return nullptr;
}

std::string Value::textOf(std::string_view name) const {
    const Value* const member = find(name);
    return member == nullptr ? std::string() : member->text;
}

std::optional<Value> parse(std::string_view text) {
    std::optional<Value> value(std::in_place);
    if (!Parser(text).document(*value))
        value.reset();
    return value;
}

} // namespace json
