#include "zutl_String.h"

#include <gtest/gtest.h>

using zutl::findCloseTag;
using zutl::findOpenTag;
using zutl::String;
using namespace std::string_literals;

namespace {

String repeated(const String& text, int times) {
    return String::join(std::vector<String>(static_cast<size_t>(times) + 1), text);
}

} // namespace

TEST(Markup, EscapesTheFiveCharacters) {
    const std::pair<std::string, const char*> cases[] = {{"&lt;", "&amp;lt;"},
                                                         {"\"'&<>", "&quot;&apos;&amp;&lt;&gt;"},
                                                         {"", ""},
                                                         {"plain", "plain"},
                                                         {"a&&b", "a&amp;&amp;b"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(String::encodeHtml(text), expected);
        EXPECT_EQ(String::decodeHtml(expected), text);
    }
    EXPECT_EQ(String::encodeHtml("<\0>"s), "&lt;\0&gt;"s);
    for (size_t length = 4050; length < 4120; ++length) { // around the size of a block
        const std::string plain(length, 'x');
        EXPECT_EQ(String::encodeHtml(plain + "<" + plain + ">"), plain + "&lt;" + plain + "&gt;") << length;
    }
}

TEST(Markup, UnescapesEachEntityOnce) {
    const std::pair<const char*, const char*> cases[] = {
        {"&amp;lt;", "&lt;"},  {"&amp;amp;", "&amp;"}, {"&#38;", "&#38;"}, {"&nbsp;&lt", "&nbsp;&lt"},
        {"&l&lt;t;", "&l<t;"}, {"&&amp;", "&&"},       {"&amp", "&amp"},   {"&", "&"},
        {"&LT;", "&LT;"},      {"&amp;#38;", "&#38;"}, {"a&gt;b&", "a>b&"}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(String::decodeHtml(text), expected) << text;
}

TEST(Markup, FindsOpenTags) {
    const auto found = [](const char* text, unsigned start) {
        unsigned tagStart, tagEnd;
        bool selfClosing;
        if (!findOpenTag(text, start, "item", tagStart, tagEnd, selfClosing))
            return std::string("none");
        return std::to_string(tagStart) + "-" + std::to_string(tagEnd) + (selfClosing ? "/" : "");
    };
    const std::pair<const char*, const char*> cases[] = {
        {"<items><item a=\"1\"/>", "7-19/"}, {"<item a='>'>", "0-9"}, {"<item ", "none"}, {"<item>", "0-5"},
        {"<item a>b</item>", "0-7"},         {"<item\n\r>", "0-7"},   {"<item/", "none"}, {"<item", "none"},
        {"<item/x><item>", "8-13"},          {"<item/>", "0-6/"},     {"<<item>", "1-6"}, {"", "none"},
        {"</item><item >", "7-13"},          {"<item\r>", "0-6"},     {"<item\t>", "0-6"}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(found(text, 0), expected) << text;
    EXPECT_EQ(found("<item>", 1), "none");
}

TEST(Markup, FindsTheBalancingCloseTag) {
    const std::pair<const char*, unsigned> cases[] = {
        {"<a><a></a><a></a></a>", 17}, {"<a><a x</a></a>", 7}, {"<a><a/></a>", 7}, {"<a></a>", 3},
        {"<a><a x</a>y</a></a>", 7},   {"<a></ab></a>", 8},    {"<a><a></a>", 0},  {"<a>", 0},
        {"<a><a></a></a>x", 10},       {"<a></a ></a>", 8},    {"<a><ab></a>", 7}};
    for (const auto& [text, expected] : cases) {
        unsigned start, end;
        EXPECT_EQ(findCloseTag(text, 3, "a", start, end), expected > 0) << text;
        if (expected == 0)
            continue;
        EXPECT_EQ(start, expected) << text;
        EXPECT_EQ(end, expected + 3) << text;
    }
}

TEST(Markup, ReplacesWholeElements) {
    const std::pair<const char*, const char*> cases[] = {
        {"a<b>1<b>2</b></b>c<b/>d", "aXcXd"}, {"<b><b>1</b>2", "<b>X2"}, {"none", "none"},
        {"</b><b>1</b></b>", "</b>X</b>"},    {"a<b>1", "a<b>1"},        {"<b/>", "X"},
        {"a<bc>1</bc>", "a<bc>1</bc>"},       {"<b>1</b>", "X"},         {"", ""},
        {"<b a='1'>1</b><b\t/>", "XX"},       {"<b><b/></b>", "X"}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(String(text).replaceElement("b", "X"), expected) << text;
    EXPECT_EQ(String("<a<b>1</a<b><a<b/>").replaceElement("a<b", "X"), "XX");
}

TEST(Markup, IsLinearInHostileNesting) {
    constexpr int many = 100000; // an algorithm that is not linear would run for minutes
    const String open = repeated("<a>", many), close = repeated("</a>", many);
    EXPECT_EQ(open.replaceElement("a", "X"), open);
    EXPECT_EQ(String(open + close).replaceElement("a", "X"), "X");
    EXPECT_EQ(String(open + "<a>1</a>").replaceElement("a", "X"), open + "X");
    unsigned closeStart, closeEnd;
    EXPECT_TRUE(findCloseTag(open + close, 3, "a", closeStart, closeEnd));
    EXPECT_EQ(closeEnd + 1, open.size() + close.size());
    EXPECT_EQ(String::decodeHtml(String::encodeHtml(repeated("&<", many))), repeated("&<", many));
    EXPECT_EQ(String::sanitize(repeated("-a", many), "a").size(), size_t{many});
}
