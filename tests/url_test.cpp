#include "table.h"
#include "zutl_url.h"

#include <gtest/gtest.h>

using zutl::String;
using zutl::url;
using namespace std::string_literals;

namespace {

// All components in one line.
std::string components(const url& address) {
    std::string text = address.scheme + "|" + address.user + "|" + address.password + "|" + address.host +
                       "|" + std::to_string(address.port) + "|" + address.path + "|";
    for (const auto& [name, value] : address.parameters)
        text += "[" + name + "=" + value + "]";
    return text;
}

} // namespace

TEST(Url, SplitsATextIntoItsComponents) {
    using Row = std::pair<const char*, std::string>;
    const auto cases = table(
        Row("http://192.0.2.1:8080/a/b.html?x=1&y=2", "http|||192.0.2.1|8080|a/b.html|[x=1][y=2]"),
        Row("http://u:p:q@h/x", "http|u|p:q|h|-1|x|"), Row("http://u@h", "http|u||h|-1||"),
        Row("http://h/@x", "http|||h|-1|@x|"), Row("http://h?q=a@b", "http|||h|-1||[q=a@b]"),
        Row("http://%41%3a:%2f@%42:1/%43?%44=%45", "http|A:|/|B|1|C|[D=E]"), Row("http://h:", "http|||h|0||"),
        Row("http://h:abc/", "http|||h|0||"), Row("http://h:-5/", "http|||h|-5||"),
        Row("http://h:99999999999/", "http|||h|2147483647||"), Row("http://", "http||||-1||"),
        Row("http:///p", "http||||-1|p|"), Row("x:/p", "x||||-1|p|"), Row("/p?a=1", "||||-1|p|[a=1]"),
        Row("//h/p", "|||h|-1|p|"), Row("http://h/p#x?a=#", "http|||h|-1|p#x|[a=#]"),
        Row("?a=1&b", "||||-1||[a=1]"), Row("?b&=v&&k=", "||||-1||[=v][k=]"),
        Row("?a=1&a=2", "||||-1||[a=2]"), Row("?a=1=2?3", "||||-1||[a=1=2?3]"),
        Row("?q+r=a+b%2B", "||||-1||[q r=a b+]"), Row("s+://u+:p+@h+/a+b", "s+|u+|p+|h+|-1|a+b|"));
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(components(url(String(text))), expected) << text;
    for (const char* const text :
         {"", "//h:80/p", "scheme:", "mailto:name", "page.html", "page.html?a=1", "/p?a=b:c"})
        EXPECT_EQ(components(url(String(text))), "||||-1||") << text;
}

TEST(Url, PrintsWhatItHolds) {
    using Row = std::pair<const char*, const char*>;
    const auto cases = table(
        Row("", ""), Row("http://192.0.2.1:8080/a/b.html?x=1&y=2", "http://192.0.2.1:8080/a/b.html?x=1&y=2"),
        Row("http://u:p@h:0/x", "http://u:p@h:0/x"), Row("http://:p@h/x", "http://h/x"),
        Row("http://:80/x", "http://:80/x"), Row("?q=a+b", "?q=a b"), Row("?q=a%2Bb", "?q=a%2Bb"),
        Row("?b=2&a=1", "?a=1&b=2"),
        Row("%3A://%40%3a%2f:%40%3A%2F@%40%3A%2F%3F/a%3Fb:@/?%3D%26%2B%3a=%3D%26%2B",
            "%3A://%40%3A%2F:%40%3A%2F@%40%3A%2F%3F/a%3Fb:@/?%3D%26%2B:==%26%2B"),
        Row("/100%25", "/100%25"));
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(String(url(String(text))), expected) << text;
    EXPECT_EQ(url(String("http://h/?b=2&a=%26")).query(), "a=%26&b=2");
}

TEST(Url, DecodesEscapes) {
    using Row = std::tuple<std::string, std::string, std::string>;
    const auto cases =
        table(Row("", "", ""), Row("%41%4a%4A", "AJJ", "AJJ"), Row("%4z%zz%z4", "\x04\0\0"s, "\x04\0\0"s),
              Row("% 4%+4%0x", "\0\0\0"s, "\0\0\0"s), Row("%\0004%4\0"s, "\0\x04"s, "\0\x04"s),
              Row("ab%4", "ab%4", "ab%4"), Row("%4", "%4", "%4"), Row("%%41", "\0001"s, "\0001"s),
              Row("a+", "a+", "a "), Row("+%2B+%2b", "++++", " + +"), Row("%FF%80", "\xFF\x80", "\xFF\x80"),
              Row("one whole block%4", "one whole block%4", "one whole block%4"));
    for (const auto& [text, plain, plusAsSpace] : cases) {
        EXPECT_EQ(url::decode(text, false), plain) << text;
        EXPECT_EQ(url::decode(text, true), plusAsSpace) << text;
        for (const bool isSpace : {false, true}) {
            String inPlace(text);
            url::decodeInPlace(inPlace, isSpace);
            EXPECT_EQ(inPlace, isSpace ? plusAsSpace : plain) << text;
        }
    }
    for (size_t length = 4050; length < 4120; ++length) { // around the size of a block
        const std::string x(length, 'x');
        const String text(x + "+%41" + x + "%2b+%");
        EXPECT_EQ(url::decode(text, false), x + "+A" + x + "++%") << length;
        EXPECT_EQ(url::decode(text, true), x + " A" + x + "+ %") << length;
    }
}

TEST(Url, EncodesTheGivenCharacters) {
    EXPECT_EQ(url::encode("a@b", "@") + url::encode("50%", "") + url::encode("a/", nullptr), "a%40b50%25a/");
    EXPECT_EQ(url::encode(" #\xFF\"", "\xFF") + url::encode("\0/"s, "/"), " #%FF\"\0%2F"s);
}
