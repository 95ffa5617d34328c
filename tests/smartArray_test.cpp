#include "bytes.h"
#include "zutl_SmartArray.h"
#include "zutl_String.h"

#include <csignal>
#include <gtest/gtest.h>
#include <thread>

using namespace std::string_literals;

namespace {

// Counts the living elements, to detect an array released twice or never.
struct Counted {
    static inline std::atomic<int> alive{0};
    int value = 0;
    Counted() { ++alive; }
    ~Counted() { --alive; }
};

using Handle = zutl::SmartArray<Counted>;

} // namespace

TEST(SmartArray, LastHandleReleasesTheArrayOnce) {
    Handle first(new Counted[3], 3);
    first[2].value = 7;
    {
        Handle second(first), third;
        third = second;
        third = *&third;
        Handle moved(std::move(second));
        moved = std::move(third);
        first.removeReference();
        first.removeReference();
        EXPECT_EQ(Counted::alive, 3);
        EXPECT_EQ(moved[2].value, 7);
        first = moved;
    }
    EXPECT_EQ(first[2].value, 7);
    const Handle empty;
    first = empty;
    EXPECT_EQ(Counted::alive, 0);
}

TEST(SmartArray, RefusesAccessWithLocatedErrors) {
    const zutl::ConstSmartArray<char> empty(nullptr, 0);
    const zutl::SmartArray<char> six(new char[6]{"abcde"}, 6);
    EXPECT_EQ(*six, 'a');
    EXPECT_EQ(six[4], 'e');
    const auto refusal = [](auto action) { return thrownIn("libraries/src/misc/zutl_SmartArray.h", action); };
    EXPECT_EQ(refusal([&] { *empty; }), "zutl::SmartArray::operator*() - pointer is NULL!");
    EXPECT_EQ(refusal([&] { empty[0]; }), "zutl::SmartArray::operator[]() - pointer is NULL!");
    EXPECT_EQ(refusal([&] { six[6]; }), "zutl::SmartArray::operator[]() - index out of range!");
}

TEST(SmartArray, IsReleasedFromSeveralThreads) {
    Handle handle(new Counted[2], 2);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([copy = handle] {
            for (int round = 0; round < 1000; ++round)
                EXPECT_EQ(Handle(copy)[1].value, 0);
        });
    handle.removeReference();
    for (std::thread& thread : threads)
        thread.join();
    threads.clear(); // with their copies
    EXPECT_EQ(Counted::alive, 0);
}

TEST(SmartArray, HoldsATextUpToItsFirstZeroByte) {
    const zutl::SmartArray<char> array = zutl::String("ab\0c"s);
    EXPECT_EQ(std::string(&*array, 5), "ab\0\0\0"s);
    EXPECT_NE(thrown([&] { array[5]; }), "");
    EXPECT_EQ(zutl::SmartArray<char>(zutl::String())[0], '\0');
}

TEST(Exception, EndsTheProgramSilentlyIfNotCaught) {
    const auto die = []() noexcept { // exit instead of abort, so that a profile is written
        std::signal(SIGABRT, [](int) { std::exit(77); });
        zutl::throwError("Some::Class", "act() - failed");
    };
    EXPECT_EXIT(die(), testing::ExitedWithCode(77), "^$");
}

TEST(Exception, CarriesItsMessage) {
    const int line = __LINE__ + 1;
    const auto raise = [] { zutl::throwError("Some::Class", "act() - failed"); };
    EXPECT_EQ(thrown(raise),
              "tests/smartArray_test.cpp (" + std::to_string(line) + "): Some::Class::act() - failed");
}
