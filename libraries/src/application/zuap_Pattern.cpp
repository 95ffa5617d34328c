#include "zuap_Pattern.h"

#include "zutl_Utf8.h"

#include <algorithm>

namespace zuap {

namespace {

constexpr size_t unlimited = static_cast<size_t>(-1);
constexpr size_t mostRepetitions = 65535; // in braces

constexpr std::string_view syntaxCharacters = "^$\\.*+?()[]{}|";
constexpr std::string_view bracketSyntax = "()[]{}/-\\|";
constexpr std::string_view neverDoubled = "&!#$%*+,.:;<=>?@^`~";

bool contains(std::string_view set, std::uint32_t code) {
    return code < 0x80 && set.find(static_cast<char>(code)) != set.npos;
}

// Removes `byte` from the beginning of the text if it is there.
bool take(std::string_view& text, char byte) {
    if (text.empty() || text.front() != byte)
        return false;
    text.remove_prefix(1);
    return true;
}

bool takeCharacter(std::string_view& text, std::uint32_t& code) {
    if (text.empty())
        return false;
    const zutl::Character character = zutl::firstCharacter(text);
    code = character.code;
    text.remove_prefix(character.length);
    return character.isValid;
}

bool takeCount(std::string_view& text, size_t& count) {
    const size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
    count = 0;
    for (const char digit : text.substr(0, length))
        count = std::min(count * 10 + static_cast<size_t>(digit - '0'), mostRepetitions + 1);
    text.remove_prefix(length);
    return length > 0 && count <= mostRepetitions;
}

} // namespace

bool Pattern::Item::takes(std::uint32_t code) const {
    const bool isListed = std::any_of(ranges.begin(), ranges.end(), [code](const auto& range) {
        return range.first <= code && code <= range.second;
    });
    return isListed != isNegated;
}

// Parses the character after a backslash.
bool Pattern::takeEscape(std::string_view& expression, bool inBrackets, Ranges& ranges) {
    std::uint32_t code;
    if (!takeCharacter(expression, code))
        return false;
    if (code == 'd')
        ranges.insert(ranges.end(), {{'0', '9'}});
    else if (code == 'w')
        ranges.insert(ranges.end(), {{'A', 'Z'}, {'a', 'z'}, {'0', '9'}, {'_', '_'}});
    else if (contains(syntaxCharacters, code) || code == '/' || (inBrackets && code == '-'))
        ranges.emplace_back(code, code);
    else
        return false;
    return true;
}

// One character or escape in brackets.
bool Pattern::takeMember(std::string_view& expression, Ranges& ranges) {
    if (take(expression, '\\'))
        return takeEscape(expression, true, ranges);
    std::uint32_t code;
    if (!takeCharacter(expression, code) || contains(bracketSyntax, code))
        return false;
    ranges.emplace_back(code, code);
    const bool isDoubled = !expression.empty() && expression.front() == static_cast<char>(code);
    return !isDoubled || !contains(neverDoubled, code);
}

// Parses a bracket expression after its opening bracket, including the closing one.
bool Pattern::takeBrackets(std::string_view& expression, Item& item) {
    const auto isCharacter = [](const Ranges& ranges) {
        return ranges.size() == 1 && ranges.front().first == ranges.front().second;
    };
    item.isNegated = take(expression, '^');
    while (!take(expression, ']')) {
        Ranges member, end;
        if (!takeMember(expression, member))
            return false;
        if (take(expression, '-')) {
            if (!takeMember(expression, end) || !isCharacter(member) || !isCharacter(end) || end < member)
                return false;
            member.front().second = end.front().second;
        }
        item.ranges.insert(item.ranges.end(), member.begin(), member.end());
    }
    return !item.ranges.empty();
}

bool Pattern::takeItem(std::string_view& expression, Item& item) {
    if (take(expression, '['))
        return takeBrackets(expression, item);
    if (take(expression, '\\'))
        return takeEscape(expression, false, item.ranges);
    if (take(expression, '.')) {
        item.isNegated = true;
        item.ranges = {{'\n', '\n'}, {'\r', '\r'}, {0x2028, 0x2029}};
        return true;
    }
    std::uint32_t code;
    if (!takeCharacter(expression, code) || contains(syntaxCharacters, code))
        return false;
    item.ranges.emplace_back(code, code);
    return true;
}

bool Pattern::takeQuantifier(std::string_view& expression, Item& item) {
    if (take(expression, '?')) {
        item.least = 0;
    } else if (take(expression, '*')) {
        item.least = 0;
        item.most = unlimited;
    } else if (take(expression, '+')) {
        item.most = unlimited;
    } else if (take(expression, '{')) {
        if (!takeCount(expression, item.least))
            return false;
        item.most = item.least;
        if (take(expression, ',') && !takeCount(expression, item.most)) {
            if (item.most != 0)
                return false;
            item.most = unlimited;
        }
        return take(expression, '}') && item.least <= item.most;
    }
    return true;
}

bool Pattern::compile(std::string_view expression) {
    items.clear();
    while (!expression.empty()) {
        Item item;
        if (!takeItem(expression, item) || !takeQuantifier(expression, item))
            return false;
        items.push_back(std::move(item));
    }
    return true;
}

bool Pattern::matches(std::string_view text) const {
    std::vector<std::uint32_t> codes;
    for (std::uint32_t code; takeCharacter(text, code);)
        codes.push_back(code);

    // reached[n]: the items so far match the first n characters.
    // reachedBefore[n]: the number of places before n that are reached.
    std::vector<size_t> reachedBefore(codes.size() + 2);
    std::vector<char> reached(codes.size() + 1);
    reached[0] = 1;
    for (const Item& item : items) {
        for (size_t position = 0; position < reached.size(); ++position)
            reachedBefore[position + 1] = reachedBefore[position] + static_cast<size_t>(reached[position]);
        size_t run = 0; // characters up to here that the item takes
        for (size_t position = 0; position < reached.size(); ++position) {
            run = position > 0 && item.takes(codes[position - 1]) ? run + 1 : 0;
            const size_t most = std::min(run, item.most);
            const bool isReached = most >= item.least &&
                                   reachedBefore[position - item.least + 1] > reachedBefore[position - most];
            reached[position] = isReached ? 1 : 0;
        }
    }
    return reached.back() != 0;
}

} // namespace zuap
