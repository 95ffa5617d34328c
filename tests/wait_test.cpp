#include "zu_Functions.h"
#include "zust_Wait.h"

#include <gtest/gtest.h>

namespace {

// Signalled from poll number `first` on; counts the polls.
struct Signal : zust::WaitObject {
    explicit Signal(int first) : firstSignalled(first) {}
    bool wait(unsigned int timeoutMs) const override {
        EXPECT_EQ(timeoutMs, 0U);
        return ++polls >= firstSignalled;
    }
    int firstSignalled;
    mutable int polls = 0;
};

constexpr int never = 1 << 30;

} // namespace

TEST(Wait, ReturnsTheLowestSignalledObject) {
    Signal silent(never), later(4), second(1);
    unsigned int index = 77;
    EXPECT_FALSE(zust::Wait({&silent}, 0, index));
    EXPECT_FALSE(zust::Wait({}, zust::unlimited, index));
    EXPECT_FALSE(zust::Wait({nullptr}, zust::unlimited, index));
    EXPECT_EQ(index, 77U);
    EXPECT_EQ(silent.polls, 1);
    EXPECT_TRUE(zust::Wait({nullptr, &silent, &later}, zust::unlimited, index));
    EXPECT_EQ(index, 2U);
    EXPECT_EQ(silent.polls, 1 + 4);
    EXPECT_TRUE(zust::Wait({&later, &second}, 0, index));
    EXPECT_EQ(index, 0U);
    EXPECT_EQ(second.polls, 0);
    EXPECT_TRUE(second.waitExclusive(0));
    const uint32_t start = zu_tickcount();
    EXPECT_FALSE(zust::Wait({&silent, nullptr}, 20, index));
    EXPECT_FALSE(zust::Wait({}, 20, index));
    zust::Wait(5);
    EXPECT_GE(zu_tickcount() - start, 45U);
}

TEST(Wait, KeepsItsTimeAcrossAWrapOfTheClock) {
    const std::tuple<uint32_t, uint32_t, uint32_t, bool> cases[] = {
        {zust::unlimited, 0, 0xFFFFFFFF, false}, {100, 0xFFFFFFF0, 0x53, false}, {1, 0xFFFFFFFF, 0, true},
        {1, 0xFFFFFFFF, 0xFFFFFFFF, false},      {100, 0xFFFFFFF0, 0x54, true},  {100, 1000, 1100, true},
        {0xFFFFFFFE, 1, 0xFFFFFFFF, true},       {100, 1000, 1099, false},       {0, 5, 5, true}};
    for (const auto& [timeout, start, now, expected] : cases)
        EXPECT_EQ(zust::hasRunOut(timeout, start, now), expected) << timeout << " " << start << " " << now;
}
