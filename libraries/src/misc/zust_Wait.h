#pragma once
// Waiting for a time, or until one of several objects is signalled. Times are unsigned 32-bit milliseconds.

#include <cstdint>
#include <vector>

namespace zust {

// The timeout that means no limit.
constexpr unsigned int unlimited = 0xFFFFFFFF;

// Something that can be waited for.
class WaitObject {
public:
    virtual ~WaitObject() = default;

    // Returns true if the object is signalled within the timeout.
    virtual bool wait(unsigned int timeoutMs) const = 0;

    // Like wait, unless a derived class overrides it.
    virtual bool waitExclusive(unsigned int timeoutMs) const { return wait(timeoutMs); }
};

// Suspends the calling thread for `ms` milliseconds. Requires ms <= 4 294 967.
void Wait(unsigned int ms);

// Polls the objects once per millisecond until one is signalled. Returns true and stores the lowest position
// of a signalled object in `index`. Returns false, with `index` unchanged, if the timeout expires first; at
// least one poll is made. Null entries are ignored. Returns false at once if there is no object and the
// timeout is unlimited.
bool Wait(const std::vector<WaitObject*>& objects, unsigned int timeoutMs, unsigned int& index);

// Returns true if a timeout that started at `start` has expired at `now`; both are values of zu_tickcount.
// The unsigned difference is the elapsed time even if the clock wrapped once in between.
constexpr bool hasRunOut(unsigned int timeoutMs, std::uint32_t start, std::uint32_t now) {
    return timeoutMs != unlimited && timeoutMs <= static_cast<std::uint32_t>(now - start);
}

} // namespace zust

namespace zutl {

// A base class for countdowns; part of the published interface, unused in the library.
class Countdown {
public:
    virtual ~Countdown() = default;
};

} // namespace zutl
