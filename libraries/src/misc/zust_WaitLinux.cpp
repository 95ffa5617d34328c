#include "zust_Wait.h"

#include "zu_Functions.h"

#include <algorithm>
#include <unistd.h>

namespace zust {

namespace {

constexpr unsigned int microsecondsPerMs = 1000;
constexpr unsigned int pollingStepMs = 1;

// Returns the position of the first object that is signalled now, or objects.size() if none is.
size_t firstSignalled(const std::vector<WaitObject*>& objects) {
    const auto signalled = [](const WaitObject* object) { return object != nullptr && object->wait(0); };
    return static_cast<size_t>(std::find_if(objects.begin(), objects.end(), signalled) - objects.begin());
}

} // namespace

void Wait(unsigned int ms) {
    usleep(ms * microsecondsPerMs);
}

bool Wait(const std::vector<WaitObject*>& objects, unsigned int timeoutMs, unsigned int& index) {
    const auto isNull = [](const WaitObject* object) { return object == nullptr; };
    if (timeoutMs == unlimited && std::all_of(objects.begin(), objects.end(), isNull))
        return false;
    const std::uint32_t start = zu_tickcount();
    for (;;) {
        const size_t found = firstSignalled(objects);
        if (found < objects.size()) {
            index = static_cast<unsigned int>(found);
            return true;
        }
        Wait(pollingStepMs);
        if (hasRunOut(timeoutMs, start, zu_tickcount()))
            return false;
    }
}

} // namespace zust
