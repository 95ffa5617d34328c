// Only in programs that are built with musl: what g++'s C++ library, made for another C library, requires of
// that one; small replacements for parts of the C++ runtime that would bring in much more than the program
// needs; and the protection of relocated data, which musl's start of a static program omits.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <link.h>
#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

// The linker's name for the program's first byte. The addresses in the program's headers are relative to it,
// because the program is position independent.
extern "C" [[gnu::visibility("hidden")]] const char __ehdr_start[];

namespace {

// Returns the program's segment of the given type, or null if there is none.
const ElfW(Phdr) * findSegment(std::uint32_t type) {
    const auto& header = *reinterpret_cast<const ElfW(Ehdr)*>(__ehdr_start);
    const auto* const segments = reinterpret_cast<const ElfW(Phdr)*>(__ehdr_start + header.e_phoff);
    for (int i = 0; i < header.e_phnum; ++i) {
        if (segments[i].p_type == type)
            return segments + i;
    }
    return nullptr;
}

// Makes the data that only relocation writes read-only, before any other constructor. The linker ends it at a
// page's end.
[[gnu::constructor(101)]] void protectRelocated() {
    const auto* const segment = findSegment(PT_GNU_RELRO);
    if (segment == nullptr)
        return;
    const auto page = static_cast<std::uintptr_t>(getpagesize());
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(__ehdr_start) + segment->p_vaddr;
    const std::uintptr_t end = (begin + segment->p_memsz) & ~(page - 1);
    const std::uintptr_t first = begin & ~(page - 1);
    if (mprotect(reinterpret_cast<void*>(first), end - first, PROT_READ) != 0)
        std::abort();
}

std::int32_t numberAt(const char* place) {
    std::int32_t number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

// The linker's index of the frame descriptions, sorted by address: a header, then for each function its
// offset and that of its description, both relative to the index.
constexpr int indexCount = 8;    // offset of the number of functions
constexpr int indexEntries = 12; // offset of the first function
constexpr int entrySize = 8;
constexpr char indexEncodings[] = {1, 0x1b, 3, 0x3b}; // version, then the form of the numbers

// A frame description: the offset of the function from this very field, and the function's length.
constexpr int descriptionFunction = 8;
constexpr int descriptionLength = 12;

} // namespace

extern "C" {

// As the unwinder declares it.
struct dwarf_eh_bases {
    void* text;
    void* data;
    const void* function;
};

// Returns the frame description of the function that holds the address, or null; by it an exception finds its
// way up the stack. The unwinder's own also looks through shared objects and code made at run time.
const void* _Unwind_Find_FDE(void* address, dwarf_eh_bases* bases) {
    const auto* const segment = findSegment(PT_GNU_EH_FRAME);
    if (segment == nullptr)
        return nullptr;
    const char* const index = __ehdr_start + segment->p_vaddr;
    if (std::memcmp(index, indexEncodings, sizeof indexEncodings) != 0)
        return nullptr;
    const auto offset = static_cast<const char*>(address) - index;
    const char* low = index + indexEntries;
    for (auto count = numberAt(index + indexCount); count > 1;) {
        const auto half = count / 2;
        if (numberAt(low + half * entrySize) <= offset)
            low += half * entrySize;
        count -= half;
    }
    const char* const function = index + numberAt(low);
    const char* const description = index + numberAt(low + sizeof(std::int32_t));
    const char* const field = description + descriptionFunction;
    if (field + numberAt(field) != function || address < function ||
        address >= function + numberAt(description + descriptionLength))
        return nullptr;
    *bases = {nullptr, nullptr, function};
    return description;
}

// Counters of references need no locking.
extern char __libc_single_threaded;
char __libc_single_threaded = 1;

// Nor does anything else: there is one thread.
int pthread_mutex_lock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* /*mutex*/) {
    return 0;
}

} // extern "C"

// What the C++ library calls for its errors. The program treats all exceptions of the library alike, so one
// type without text is enough, and a failed check ends the program without a message. Weak, so that a library
// that needs more of its own functions gets all of them.
namespace std {

[[gnu::weak]] void __throw_bad_alloc() {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_bad_array_new_length() {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_length_error(const char* /*text*/) {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_logic_error(const char* /*text*/) {
    throw bad_alloc();
}

[[gnu::weak]] void __throw_out_of_range_fmt(const char* /*text*/, ...) {
    throw bad_alloc();
}

[[gnu::weak]] void __glibcxx_assert_fail(const char* /*file*/, int /*line*/, const char* /*function*/,
                                         const char* /*condition*/) noexcept {
    abort();
}

} // namespace std
