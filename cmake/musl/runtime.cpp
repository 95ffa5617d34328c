// What g++'s C++ library, made for another C library, requires of that one and musl does not have; and the
// protection of relocated data, which musl's start of a static program omits. Only in programs that are built
// with musl.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Makes the data that only relocation writes read-only. The linker ends it at a page's end.
int protectRelocated(dl_phdr_info* object, size_t /*size*/, void* /*data*/) {
    const auto page = static_cast<std::uintptr_t>(getpagesize());
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const auto& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_GNU_RELRO)
            continue;
        const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
        const std::uintptr_t end = (begin + segment.p_memsz) & ~(page - 1);
        const std::uintptr_t first = begin & ~(page - 1);
        if (mprotect(reinterpret_cast<void*>(first), end - first, PROT_READ) != 0)
            std::abort();
    }
    return 0;
}

// Before any other constructor.
[[gnu::constructor(101)]] void protect() {
    dl_iterate_phdr(protectRelocated, nullptr);
}

// Finds the table of the program's stack frames. A static program is the only object.
int takeFrameTable(dl_phdr_info* object, size_t /*size*/, void* table) {
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const auto& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_GNU_EH_FRAME)
            continue;
        *static_cast<void**>(table) = reinterpret_cast<void*>(object->dlpi_addr + segment.p_vaddr);
        return 1;
    }
    return 0;
}

} // namespace

extern "C" {

// As the other library declares it.
struct dl_find_object {
    unsigned long long flags;
    void* mapStart;
    void* mapEnd;
    link_map* linkMap;
    void* frameTable;
    unsigned long long reserved[7];
};

// By it an exception finds its way up the stack: 0 and the table of the object that holds the address, or -1.
int _dl_find_object(void* /*address*/, dl_find_object* found) {
    return dl_iterate_phdr(takeFrameTable, &found->frameTable) == 1 ? 0 : -1;
}

// Counters of references need no locking.
extern char __libc_single_threaded;
char __libc_single_threaded = 1;

} // extern "C"
