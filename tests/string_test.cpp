#include "table.h"
#include "temporaryFile.h"
#include "zu_Functions.h"
#include "zutl_String.h"

#include <cstdarg>
#include <gtest/gtest.h>

using zutl::String;
using namespace std::string_literals;

namespace {

std::string list(const std::vector<String>& tokens) {
    std::string text;
    for (const String& token : tokens)
        text += "(" + token + ")";
    return text;
}

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = zu_vscprintf(format, args); // which leaves the arguments as they were
    const String text = String::fromVAList(format, &args);
    EXPECT_EQ(text.size(), static_cast<size_t>(length));
    va_end(args);
    return text;
}

} // namespace

TEST(String, CopiesAStandardString) {
    const std::string plain("a\0b"s);
    String text("before");
    EXPECT_EQ(text = plain, plain);
}

TEST(String, TreatsANullPointerAsEmptyText) {
    const char* const none = nullptr;
    EXPECT_EQ(String(none), "");
    String text("before");
    EXPECT_EQ(text = none, "");
    String (*const fromVAList)(const char*, void*) = &String::fromVAList;
    EXPECT_EQ(fromVAList(none, nullptr), "");
    EXPECT_EQ(String::fromEnvVarible(none), "");
    EXPECT_EQ(String::sanitize("a", none), "");
    EXPECT_FALSE(text.toFile(none));
    EXPECT_FALSE(text.fromFile(none));
}

TEST(String, Formats) {
    EXPECT_EQ(String::fromFormat("%s=%d", "a", 7), "a=7");
    EXPECT_EQ(String::fromFormat("%s", std::string(100000, 'x').c_str()), std::string(100000, 'x'));
    EXPECT_EQ(String::fromFormat("a%cb", 0) + String::fromFormat("%s", ""), "a");
    EXPECT_EQ(formatted("%d %s %lld %.2f", -1, "two", 3LL, 0.5), "-1 two 3 0.50");
    EXPECT_EQ(String::fromFloat(2.5F, 2) + String::fromFloat(1.0F, 0), "2.501");
    for (const int number : {-7, 0, INT32_MIN, INT32_MAX})
        EXPECT_EQ(String::fromInteger(number), std::to_string(number));
}

TEST(String, CopiesIntoABufferAndEndsIt) {
    const std::tuple<const char*, unsigned, std::string> cases[] = {
        {"abcdef", 3, "abc\0#"s}, {"ab", 3, "ab\0##"s}, {"abcdef", 0, "\0####"s}};
    for (const auto& [text, max, expected] : cases) {
        std::string buffer(5, '#');
        EXPECT_EQ(String(text).copyString(buffer.data(), max), expected.find('\0')) << text;
        EXPECT_EQ(buffer, expected) << text;
    }
}

TEST(String, ComparesCaseInsensitivelyAndFindsPrefixes) {
    EXPECT_LT(String("a").iCompare("B"), 0);
    EXPECT_EQ(String("a\0b"s).iCompare("A\0c"s), 0);
    for (const char* const prefix : {"", "abc", "abcabc"})
        EXPECT_TRUE(String("abcabc").hasPrefix(prefix)) << prefix;
    for (const char* const other : {"bc", "abcabca"})
        EXPECT_FALSE(String("abcabc").hasPrefix(other)) << other;
}

TEST(String, RecognizesNumbers) {
    const std::tuple<const char*, bool, bool> cases[] = {
        {"", false, true},       {"   ", false, true}, {" -12 ", true, true}, {"\t7\t", true, true},
        {"3.5", true, false},    {".5", true, false},  {"5.", true, false},   {"1 2", false, true},
        {"1.2.3", false, false}, {"1e5", false, true}, {"1-", false, true},   {"5\n", false, true},
        {"+", true, true},       {"-", true, true},    {".", true, false},    {"1 .", false, true},
        {"1. ", true, false},    {"- 1", false, true}, {".x", false, false},  {"0", true, true},
        {"9", true, true},       {"/", false, true},   {":", false, true}};
    for (const auto& [text, numeric, integer] : cases) {
        bool isInteger = !integer;
        EXPECT_EQ(String(text).isNumeric(isInteger), numeric) << text;
        EXPECT_EQ(isInteger, integer) << text;
    }
}

TEST(String, ConvertsToNumbersAndTruth) {
    const std::tuple<const char*, int, unsigned> numbers[] = {
        {"99999999999", 2147483647, 2147483647}, {"42abc", 42, 42}, {"-5", -5, 0}, {"+3", 3, 3},
        {"-99999999999", INT32_MIN, 0},          {" \n7", 7, 7},    {"abc", 0, 0}, {"", 0, 0}};
    for (const auto& [text, number, natural] : numbers) {
        EXPECT_EQ(String(text).toInt(), number) << text;
        EXPECT_EQ(String(text).toUnsignedInt(), natural) << text;
    }
    for (const char* const text : {"TRUE", "Yes", "y", "On", "t", "1", "-1", "12abc", " 1", "99999999999"})
        EXPECT_TRUE(String(text).toBool()) << text;
    for (const char* const text : {"false", "no", "off", "", "0", " true", "truely", "0.5"})
        EXPECT_FALSE(String(text).toBool()) << text;
}

TEST(String, TransformsACopy) {
    const String text("MiXed \xC3\x84 1");
    EXPECT_EQ(text.toLower() + text.toUpper(), "mixed \xC3\x84 1MIXED \xC3\x84 1");
    EXPECT_EQ(String("Ab\0C"s).toLower(), "ab");
    EXPECT_EQ(String(" a b\r\n\t ").trim(), "a b");
    EXPECT_EQ(String(" \t\r\n").trim() + String("\va\v").trim(), "\va\v");
    EXPECT_EQ(String(" a\0b "s).trim(), "a\0b"s);
    EXPECT_EQ(String("ab").padEnd(5, '*'), "ab***");
    EXPECT_EQ(String("a\0bcd"s).padEnd(5, '*'), "a\0bcd"s);
    EXPECT_EQ(String("a\0b"s).padEnd(5, '*'), "a**");
}

TEST(String, AbbreviatesWithThreePoints) {
    const std::pair<unsigned, const char*> cases[] = {
        {9, "abcdefgh"}, {8, "abcdefgh"}, {7, "abcd..."}, {3, "..."}, {2, ""}};
    for (const auto& [max, expected] : cases)
        EXPECT_EQ(String("abcdefgh").abbreviate(max), expected) << max;
    EXPECT_EQ(String("ab").abbreviate(2), "");
}

TEST(String, ExtractsBetweenMarksAndKeepsOnlyAllowedBytes) {
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"x[abc]y", "[", "]", "abc"}, {"x]abc[y", "[", "]", ""},  {"abc", "", "c", "ab"},
        {"abc", "a", "", ""},         {"[[a]]", "[[", "]]", "a"}, {"x[abc", "[", "]", ""},
        {"||a|", "|", "|", ""},       {"abc]", "[", "]", ""}};
    for (const auto& [text, begin, end, expected] : cases)
        EXPECT_EQ(String(text).extract(begin, end), expected) << text;
    EXPECT_EQ(String::sanitize("  a-b c ", "abc "), "ab c");
    EXPECT_EQ(String::sanitize("a\0b"s, "ab"), "ab");
}

TEST(String, SplitsAtDelimitersOutsideQuotes) {
    // A delimiter that is also a quote opens a section. After a backslash, a quote closes the section only as
    // the second byte, and a backslash there is no escape.
    using Row = std::tuple<std::string, const char*, const char*, const char*>;
    const auto cases = table(Row("a=1&&b=2&", "&", "", "(a=1)(b=2)"), Row(",a,b,", ",", ",", "(,a,b,)"),
                             Row("a,|b\\|,c|,d", ",", "|", "(a)(|b\\|,c|)(d)"),
                             Row("|\\a\\|,b|,c", ",", "|", "(|\\a\\|)(b|,c)"),
                             Row("|a\\b|,c", ",", "|", "(|a\\b|)(c)"), Row("|,\\x", ",", "|", "(|,\\x)"));
    for (const auto& [text, delimiters, quotes, expected] : cases)
        EXPECT_EQ(list(String(text).tokenize(delimiters, quotes)), expected) << text;

    std::vector<String> tokens = {"before"};
    String::tokenize("a b", " ", tokens, "");
    EXPECT_EQ(list(tokens), "(before)(a)(b)");
    EXPECT_EQ(String("a,b,,c").findAll(",", ""), (std::vector<unsigned>{1, 3, 4}));
    // Many sections before the only delimiter: an algorithm that is not linear would run for days.
    EXPECT_EQ(String(std::string(2000000, '|') + ",x").tokenize(",", "|").size(), 2U);
}

TEST(String, GoesToAFileAndBack) {
    const TemporaryFile file("longer than what follows");
    for (const String& content : {String("a\0b\n"s), String(), String(std::string(100001, 'x'))}) {
        String read("before");
        EXPECT_TRUE(content.toFile(file.path()));
        EXPECT_TRUE(read.fromFile(file.path()));
        EXPECT_EQ(read, content);
    }
    for (const char* const path : {"/nonexistent/file", "/tmp"}) {
        String text("before");
        EXPECT_FALSE(text.toFile(path)) << path;
        EXPECT_FALSE(text.fromFile(path)) << path;
        EXPECT_EQ(text, "") << path;
    }
    EXPECT_FALSE(String("x").toFile("/dev/full"));
}
