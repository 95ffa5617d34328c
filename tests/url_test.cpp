#include "zutl_url.h"

#include <gtest/gtest.h>

using zutl::String;
using zutl::url;

namespace {

// Every component in one line, so that a case shows at a glance which of them is wrong.
std::string components(const url& address) {
    std::string text = address.scheme + "|" + address.user + "|" + address.password + "|" + address.host +
                       "|" + std::to_string(address.port) + "|" + address.path + "|";
    for (const auto& [name, value] : address.parameters)
        text += "[" + name + "=" + value + "]";
    return text;
}

const std::string nothing = "||||-1||";

} // namespace

TEST(Url, SplitsATextIntoItsComponents) {
    const std::pair<const char*, std::string> cases[] = {
        {"", nothing},
        {"http://192.0.2.1:8080/a/b.html?x=1&y=2", "http|||192.0.2.1|8080|a/b.html|[x=1][y=2]"},
        {"http://u:p:q@h/x", "http|u|p:q|h|-1|x|"},
        {"http://u@h", "http|u||h|-1||"},
        {"http://h/@x", "http|||h|-1|@x|"},
        {"http://h?q=a@b", "http|||h|-1||[q=a@b]"},
        {"http://%41%3a:%2f@%42:1/%43?%44=%45", "http|A:|/|B|1|C|[D=E]"},
        {"http://h:", "http|||h|0||"},
        {"http://h:abc/", "http|||h|0||"},
        {"http://h:-5/", "http|||h|-5||"},
        {"http://h:99999999999/", "http|||h|2147483647||"},
        {"http://", "http||||-1||"},
        {"http:///p", "http||||-1|p|"},
        {"x:/p", "x||||-1|p|"},
        {"/p?a=1", "||||-1|p|[a=1]"},
        {"//h/p", "|||h|-1|p|"},
        {"//h:80/p", nothing},
        {"scheme:", nothing},
        {"mailto:name", nothing},
        {"page.html", nothing},
        {"page.html?a=1", nothing},
        {"/p?a=b:c", nothing},
        {"http://h/p#x?a=#", "http|||h|-1|p#x|[a=#]"},
        {"?a=1&b", "||||-1||[a=1]"},
        {"?b&=v&&k=", "||||-1||[=v][k=]"},
        {"?a=1&a=2", "||||-1||[a=2]"},
        {"?a=1=2?3", "||||-1||[a=1=2?3]"},
        {"?q+r=a+b%2B", "||||-1||[q r=a b+]"},
        {"/a+b", "||||-1|a+b|"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(components(url(String(text))), expected) << text;
}

TEST(Url, PrintsWhatItHolds) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"http://192.0.2.1:8080/a/b.html?x=1&y=2", "http://192.0.2.1:8080/a/b.html?x=1&y=2"},
        {"http://u:p@h:0/x", "http://u:p@h:0/x"},
        {"http://:p@h/x", "http://h/x"},
        {"http://h/", "http://h"},
        {"http://h:-5/p", "http://h/p"},
        {"http://h:/p", "http://h:0/p"},
        {"file:///etc/x", "file:/etc/x"},
        {"?q=a+b", "?q=a b"},
        {"?q=a%2Bb", "?q=a%2Bb"},
        {"?b=2&a=1", "?a=1&b=2"},
        {"%3A://%40%3a%2f:%40%3A%2F@%40%3A%2F%3F/a%3Fb:@/?%3D%26%2B%3a=%3D%26%2B",
         "%3A://%40%3A%2F:%40%3A%2F@%40%3A%2F%3F/a%3Fb:@/?%3D%26%2B:==%26%2B"},
        {"/100%25", "/100%25"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(String(url(String(text))), expected) << text;
}

TEST(Url, PrintsAChangedParameterInItsPlace) {
    url address = url::parse("http://h/setup.html?tab=3&success=false");
    url copy(address);
    copy.parameters["success"] = "restarted";
    EXPECT_EQ(String(copy), "http://h/setup.html?success=restarted&tab=3");
    EXPECT_EQ(copy.query(), "success=restarted&tab=3");
    EXPECT_EQ(address.query(), "success=false&tab=3");
}

TEST(Url, DecodesEscapes) {
    const struct {
        std::string text, plain, plusAsSpace;
    } cases[] = {
        {"", "", ""},
        {"%41%4a%4A", "AJJ", "AJJ"},
        {"%4z%zz%z4", {"\x04\0\0", 3}, {"\x04\0\0", 3}},
        {"% 4%+4%0x", {"\0\0\0", 3}, {"\0\0\0", 3}},
        {"ab%4", "ab%4", "ab%4"},
        {"%4", "%4", "%4"},
        {"%%41", {"\0001", 2}, {"\0001", 2}}, // "%%4" is one escape, without a digit
        {"a+", "a+", "a "},
        {"+%2B+%2b", "++++", " + +"},
        {"%FF%80", "\xFF\x80", "\xFF\x80"},
    };
    for (const auto& [text, plain, plusAsSpace] : cases) {
        EXPECT_EQ(url::decode(text, false), plain) << text;
        EXPECT_EQ(url::decode(text, true), plusAsSpace) << text;
    }
}

TEST(Url, EncodesWhatItIsTold) {
    EXPECT_EQ(url::encode("a@b", "@"), "a%40b");
    EXPECT_EQ(url::encode("50%", ""), "50%25");
    EXPECT_EQ(url::encode(" #\xFF\"", "\xFF"), " #%FF\"");
    EXPECT_EQ(url::encode(std::string("\0/", 2), "/"), std::string("\0%2F", 4));
    EXPECT_EQ(url::encode("a/", nullptr), "a/");
}
