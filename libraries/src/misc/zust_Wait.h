#pragma once
// Waiting: for a while, or until one of several objects is signalled. Times are in milliseconds, 32 bits
// wide.

#include <cstdint>
#include <vector>

namespace zust {

// The timeout that never runs out.
constexpr unsigned int unlimited = 0xFFFFFFFF;

// Something that can be waited for.
class WaitObject {
public:
    virtual ~WaitObject() = default;

    // Whether the object is signalled within the timeout.
    virtual bool wait(unsigned int timeoutMs) const = 0;

    // The same as wait, unless a class says otherwise.
    virtual bool waitExclusive(unsigned int timeoutMs) const { return wait(timeoutMs); }
};

// Suspends the calling thread; at most 4 294 967 ms.
void Wait(unsigned int ms);

// Waits until one of the objects is signalled: true, with its position in `index`, the lowest when there are
// several. False, with `index` unchanged, when the timeout ran out, which is looked at after each round
// through all the objects, one every millisecond. Null entries are passed over. With no object at all the
// unlimited timeout gives false at once.
bool Wait(const std::vector<WaitObject*>& objects, unsigned int timeoutMs, unsigned int& index);

// Whether a timeout that began at `start` has run out, both being times of zu_tickcount. The unsigned
// difference is the time that has passed also when the clock has wrapped in between.
constexpr bool hasRunOut(unsigned int timeoutMs, std::uint32_t start, std::uint32_t now) {
    return timeoutMs != unlimited && timeoutMs <= static_cast<std::uint32_t>(now - start);
}

} // namespace zust

namespace zutl {

// The base of objects that run down to a point in time.
class Countdown {
public:
    virtual ~Countdown() = default;
};

} // namespace zutl
