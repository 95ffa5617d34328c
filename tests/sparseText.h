#pragma once

#include <cstring>
#include <new>
#include <string>
#include <sys/mman.h>

// Gives a text a large size without memory: its bytes are an untouched mapping. The destructor empties the
// text. Depends on the standard library's layout of std::string.
class SparseText {
public:
    SparseText(std::string& owner, size_t bytes) : text(&owner), size(bytes) {
        mapping = mmap(nullptr, size + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                       -1, 0);
        const struct {
            void* data;
            size_t size, capacity;
        } layout{mapping, size, size};
        static_assert(sizeof layout <= sizeof(std::string), "another layout");
        std::memcpy(static_cast<void*>(text), &layout, sizeof layout);
    }
    SparseText(const SparseText&) = delete;
    SparseText& operator=(const SparseText&) = delete;
    ~SparseText() {
        new (text) std::string();
        munmap(mapping, size + 1);
    }

private:
    std::string* text;
    size_t size;
    void* mapping;
};
