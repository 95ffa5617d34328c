#pragma once
// Patterns for texts. Internal: not installed.

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace zuap {

// A regular expression in a subset that means the same in the `pattern` attribute of HTML: a sequence of
// items, each with an optional quantifier, matched against the whole text.
//
//     item          a character; \ and one of ^$\.*+?()[]{}|/ ; . (any character but the line ends);
//                   \d ([0-9]); \w ([A-Za-z0-9_]); [...] (one of these characters, ranges, \d, \w);
//                   [^...] (none of these)
//     quantifier    ? * + {n} {n,} {n,m}
//
// There are no groups, alternatives, anchors or lazy quantifiers. In brackets, ( ) [ ] { } / - \ | need a
// backslash, ^ needs one at the beginning, and no other punctuation character may occur twice in a row.
class Pattern {
public:
    // Returns false if `expression` is not in the subset; the pattern must not be used then.
    [[nodiscard]] bool compile(std::string_view expression);

    // Returns true if all of `text` matches. Takes time proportional to its length times the number of items.
    // Requires valid UTF-8.
    bool matches(std::string_view text) const;

private:
    using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>; // of code points, ends included
    struct Item {
        Ranges ranges;
        bool isNegated = false;
        size_t least = 1, most = 1; // repetitions
        bool takes(std::uint32_t code) const;
    };
    static bool takeEscape(std::string_view& expression, bool inBrackets, Ranges& ranges);
    static bool takeMember(std::string_view& expression, Ranges& ranges);
    static bool takeBrackets(std::string_view& expression, Item& item);
    static bool takeItem(std::string_view& expression, Item& item);
    static bool takeQuantifier(std::string_view& expression, Item& item);

    std::vector<Item> items;
};

} // namespace zuap
