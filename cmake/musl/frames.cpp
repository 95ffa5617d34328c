// Finds the unwind table entry for a code address when an exception is thrown. The unwinder's own search also
// covers shared objects and code generated at run time, and takes 9 KB. ARM uses another kind of table.

#ifndef __ARM_EABI__

#include "segments.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

std::int32_t numberAt(const char* place) {
    std::int32_t number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

// The linker's index of the frame descriptions, sorted by address: a header, then for each function its
// offset and that of its description, both relative to the index.
constexpr int indexCount = 8;    // offset of the number of functions
constexpr int indexEntries = 12; // offset of the first function
constexpr std::ptrdiff_t entrySize = 8;
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

// Returns the frame description of the function that holds the address, or null.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the unwinder's own name
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

} // extern "C"

#endif
