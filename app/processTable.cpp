#include "processTable.h"

#include "zutl_Directory.h"
#include "zutl_File.h"
#include "zutl_String.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/types.h>

namespace {

using Buffer = std::array<char, 256>;

// Returns true if the last path component of the first argument in a command line is `name`. Reads the file
// piecewise up to the end of the first argument; one buffer is nearly always enough. `buffer` is scratch
// space: clearing a new one for each process would take a noticeable part of the search.
bool firstArgumentNames(const char* path, std::string_view name, Buffer& buffer) {
    const zutl::File file(path, O_RDONLY);
    if (!file.isOpen())
        return false;
    zutl::String before; // the part of the last component read before
    for (;;) {
        const ssize_t received = zutl::readSome(file.get(), buffer.data(), buffer.size());
        if (received < 0)
            return false;
        const std::string_view bytes(buffer.data(), static_cast<size_t>(received));
        std::string_view argument = bytes.substr(0, bytes.find('\0'));
        argument = argument.substr(0, argument.find('\n'));
        const size_t slash = argument.rfind('/');
        if (slash != argument.npos)
            before.clear();
        const std::string_view component =
            argument.substr(slash + 1); // all of it without a slash: npos + 1 is 0
        // A short read happens only at the end of the file.
        if (argument.size() < bytes.size() || bytes.size() < buffer.size())
            return before.empty() ? component == name : before + zutl::String(component) == name;
        before += component;
    }
}

// Returns true if strtol() reads a positive number. Avoids the call for most names.
bool isNumber(const char* text) {
    return (*text >= '1' && *text <= '9') || std::strtol(text, nullptr, 10) > 0;
}

} // namespace

int getProcIdByName(const char* name) {
    if (*name == '\0')
        return -1;
    zutl::Directory processes("/proc");
    if (!processes.isOpen())
        return -1;
    // The paths of all entries share one buffer that begins with "/proc/".
    constexpr std::string_view folder = "/proc/";
    constexpr std::string_view file = "/cmdline";
    std::array<char, folder.size() + NAME_MAX + file.size() + 1> path;
    char* const entryPlace = std::copy(folder.begin(), folder.end(), path.data());
    Buffer buffer;
    while (const char* const entry = processes.next()) {
        if (!isNumber(entry))
            continue;
        char* const end = std::copy(entry, entry + std::strlen(entry), entryPlace);
        std::memcpy(end, file.data(), file.size() + 1); // with its zero byte
        if (firstArgumentNames(path.data(), name, buffer))
            return static_cast<int>(std::min(std::strtol(entry, nullptr, 10), long{INT_MAX}));
    }
    return -1;
}
