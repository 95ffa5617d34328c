#include "zutl_Directory.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zutl {

namespace {

// The header of a directory entry, the same on every machine; the name follows it.
struct EntryHeader {
    std::uint64_t fileNumber;
    std::int64_t offset;
    std::uint16_t length; // of the whole entry
    unsigned char type;
};
constexpr size_t lengthOffset = offsetof(EntryHeader, length);
constexpr size_t nameOffset = offsetof(EntryHeader, type) + 1;

} // namespace

Directory::Directory(const char* path) : Directory(File(path, O_RDONLY | O_DIRECTORY)) {}

const char* Directory::next() {
    if (position == filled) {
        const long received = syscall(SYS_getdents64, file.get(), block.data(), block.size());
        if (received <= 0)
            return nullptr;
        filled = static_cast<size_t>(received);
        position = 0;
    }
    const char* const entry = block.data() + position;
    std::uint16_t length;
    std::memcpy(&length, entry + lengthOffset, sizeof length);
    position += length;
    return entry + nameOffset;
}

} // namespace zutl
