#pragma once
// Timing of one job done by several contenders: the hand-written loop that is the limit, ours, and peers.
// They run in turn, so that whatever else the machine does meets them all alike.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// Makes the compiler believe that the value is looked at.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

struct Contender {
    std::string name;
    std::function<void()> run;     // the whole job once; this is timed
    std::function<void()> prepare; // before each run, not timed; may be empty
};

struct Job {
    std::string name;
    std::string unit;                  // what one of the job's pieces is: "byte", "field", "record"
    double pieces;                     // in one run
    double target;                     // the ratio to the limit that ours is meant to reach
    std::string limit;                 // what was written by hand
    std::vector<Contender> contenders; // the limit, ours, then the peers
    std::function<void()> begin = {};  // once before the job; may be empty
};

inline constexpr const char* byHand = "by hand";
inline constexpr const char* ours = "ours";

[[noreturn]] void fail(std::string_view what);

// Throws std::runtime_error when it does not hold: a contender that does another job is not worth timing.
// Cheap enough for the loops written by hand to check their input with.
inline void require(bool holds, std::string_view what) {
    if (!holds)
        fail(what);
}

// Memory that was used once stays with the process from now on: the kernel's work on fresh pages is the same
// for everybody, and would hide the rest.
void keepMemory();

// Processor time of this process in nanoseconds. Unlike the clock it stands still while others run.
double processorTime();

// The middle value.
double median(std::vector<double> values);

// The nanoseconds for one piece of the job, a median for each contender.
std::vector<double> measure(const Job& job, int rounds);

} // namespace bench
