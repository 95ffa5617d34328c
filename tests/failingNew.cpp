// In a program under test, the environment variable FAIL_ALLOCATION is the number of the allocation that
// fails. If COUNT_ALLOCATIONS is set, the number of allocations is printed on standard error at the end.

#include "failingNew.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace allocations {

long untilFailure = 0;
long made = 0;
long live = 0;

namespace {

struct Process {
    Process() {
        if (const char* const number = std::getenv("FAIL_ALLOCATION"))
            untilFailure = std::strtol(number, nullptr, 10);
    }
    ~Process() {
        if (std::getenv("COUNT_ALLOCATIONS") != nullptr)
            std::fprintf(stderr, "%ld\n", made);
    }
} process;

} // namespace
} // namespace allocations

void* operator new(std::size_t size) {
    ++allocations::made;
    if (allocations::untilFailure > 0 && --allocations::untilFailure == 0)
        throw std::bad_alloc();
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr)
        throw std::bad_alloc();
    ++allocations::live;
    return memory;
}

void operator delete(void* memory) noexcept {
    if (memory != nullptr)
        --allocations::live;
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}

// The array operators of the C++ library call those above, but the ones of a sanitizer do not.
void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete[](void* memory) noexcept {
    operator delete(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}
