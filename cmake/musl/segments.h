#pragma once
// The segments of the running program, which must be static and position independent.

#include <cstdint>
#include <elf.h>
#include <link.h>

// The linker's name for the program's first byte. The addresses in the program's headers are relative to it,
// because the program is position independent.
extern "C" [[gnu::visibility("hidden")]] const char __ehdr_start[];

inline const void* placeOf(std::uintptr_t address) {
    return __ehdr_start + address;
}

// Returns the program's segment of the given type, or null if there is none.
inline const ElfW(Phdr) * findSegment(std::uint32_t type) {
    const auto* const header = static_cast<const ElfW(Ehdr)*>(placeOf(0));
    const auto* const segments = static_cast<const ElfW(Phdr)*>(placeOf(header->e_phoff));
    for (int i = 0; i < header->e_phnum; ++i) {
        if (segments[i].p_type == type)
            return segments + i;
    }
    return nullptr;
}
