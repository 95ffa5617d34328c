#include "zu_Functions.h"
#include "zutl_String.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

TEST(Functions, CopiesAtMostWhatFitsAndFillsTheRest) {
    char buffer[6];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(zu_strcpy(buffer, 5, "ab"), buffer);
    EXPECT_EQ(std::string(buffer, 6), std::string("ab\0\0\0x", 6));
    EXPECT_STREQ(zu_strcpy(buffer, 3, "abcdef"), "ab");
    EXPECT_STREQ(zu_strcpy(buffer, 1, "abcdef"), "");
    const std::unique_ptr<char[]> three(new char[3]{'a', 'b', 'c'}); // byte 4 is not read
    EXPECT_STREQ(zu_strcpy(buffer, 4, three.get()), "abc");
    const std::unique_ptr<char, void (*)(void*)> copy(zu_strdup("text"), std::free);
    EXPECT_STREQ(copy.get(), "text");
}

TEST(Functions, ChangeAsciiLettersOnly) {
    char text[] = "aZ\xC3\x84[`{";
    EXPECT_STREQ(zu_strupr(text), "AZ\xC3\x84[`{");
    EXPECT_STREQ(zu_strlwr(text), "az\xC3\x84[`{");
    EXPECT_EQ(zu_stricmp("HeLLo", "hEllO"), 0);
    EXPECT_GT(zu_stricmp("b", "ABC"), 0);
}

TEST(Functions, FoldCaseAlikeInEveryLocale) {
    if (std::setlocale(LC_ALL, "tr_TR.ISO-8859-9") == nullptr)
        GTEST_SKIP() << "no Turkish locale";
    EXPECT_EQ(zu_stricmp("TITLE", "title"), 0);
    EXPECT_NE(zu_stricmp("\xC4", "\xE4"), 0);
    EXPECT_LT(zu_stricmp("Z", "\xC4"), 0);
    EXPECT_EQ(zutl::String("TITLE").iCompare("title"), 0);
    EXPECT_TRUE(zutl::String("YES").toBool());
    std::setlocale(LC_ALL, "C");
}

TEST(Functions, TreatANullTextAsEmpty) {
    char buffer[] = "xx";
    const char* const none = nullptr;
    EXPECT_STREQ(zu_strcpy(buffer, 3, none), "");
    EXPECT_EQ(zu_stricmp(none, ""), 0);
    EXPECT_LT(zu_stricmp(none, "a"), 0);
    EXPECT_EQ(zu_strlwr(nullptr), nullptr);
    EXPECT_EQ(zu_strupr(nullptr), nullptr);
    EXPECT_EQ(zu_atoi64(none), 0);
    const std::unique_ptr<char, void (*)(void*)> copy(zu_strdup(none), std::free);
    EXPECT_STREQ(copy.get(), "");
    EXPECT_STREQ(zutl::Exception(none).what(), "");
}

TEST(Functions, ReadsNumbersOf64Bits) {
    EXPECT_EQ(zu_atoi64(" 42x") + zu_atoi64("x"), 42);
    EXPECT_EQ(zu_atoi64("9223372036854775808") + zu_atoi64("-7"), INT64_MAX - 7);
}

TEST(Functions, ClockMovesForwardAndThreadsDiffer) {
    const uint32_t start = zu_tickcount();
    while (zu_tickcount() - start < 3)
        std::this_thread::yield();
    pthread_t other{};
    std::thread([&] { other = zu_get_threadid(); }).join();
    EXPECT_TRUE(pthread_equal(zu_get_threadid(), pthread_self()));
    EXPECT_FALSE(pthread_equal(zu_get_threadid(), other));
}
