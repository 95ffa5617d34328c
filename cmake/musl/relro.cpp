// Makes relocated data read-only, which musl's start-up code does not do for a static program.

#include "segments.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Makes the data that only relocation writes read-only, before any other constructor. The linker ends it at a
// page's end.
[[gnu::constructor(101)]] void protectRelocated() {
    const auto* const segment = findSegment(PT_GNU_RELRO);
    if (segment == nullptr)
        return;
    const char* const begin = __ehdr_start + segment->p_vaddr;
    const auto page = static_cast<std::uintptr_t>(getpagesize());
    const std::uintptr_t ahead =
        reinterpret_cast<std::uintptr_t>(begin) & (page - 1); // of it in its first page
    if (mprotect(const_cast<char*>(begin - ahead), (ahead + segment->p_memsz) & ~(page - 1), PROT_READ) != 0)
        std::abort();
}

} // namespace
