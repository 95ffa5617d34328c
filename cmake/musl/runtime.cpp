// What g++'s C++ library, made for another C library, asks of that one and musl does not have. Only in
// programs that are built with musl.

#include <cstddef>
#include <link.h>

namespace {

// Where the table of the program's stack frames stands. A static program is the only object there is.
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
