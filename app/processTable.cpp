#include "processTable.h"

#include "directory.h"
#include "zutl_File.h"
#include "zutl_String.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

// Whether the last path component of the first argument in a command line is `name`. Reads block by block, in
// nearly every case one, and no further than the first argument reaches.
bool firstArgumentNames(const char* path, std::string_view name) {
    const zutl::File file(path, O_RDONLY);
    if (!file.isOpen())
        return false;
    zutl::String before; // what the blocks before hold of the last component
    std::array<char, 256> block;
    for (;;) {
        const ssize_t received = zutl::readSome(file.get(), block.data(), block.size());
        if (received < 0)
            return false;
        const std::string_view bytes(block.data(), static_cast<size_t>(received));
        std::string_view argument = bytes.substr(0, bytes.find('\0'));
        argument = argument.substr(0, argument.find('\n'));
        const size_t slash = argument.rfind('/');
        if (slash != argument.npos)
            before.clear();
        const std::string_view component =
            argument.substr(slash + 1); // all when there is no slash: npos + 1 is 0
        // The kernel gives less than was asked for only at the end.
        if (argument.size() < bytes.size() || bytes.size() < block.size())
            return before.empty() ? component == name : before + zutl::String(component) == name;
        before += component;
    }
}

// The number that an entry's name begins with; 0 for the entries that are no processes.
int processId(const char* entry) {
    int id = 0;
    std::from_chars(entry, entry + std::strlen(entry), id);
    return id;
}

} // namespace

int getProcIdByName(const char* name) {
    Directory processes("/proc");
    if (!processes.isOpen())
        return -1;
    // The entry's name and what stands behind it are put behind "/proc/", over those of the entry before.
    constexpr std::string_view folder = "/proc/";
    constexpr std::string_view file = "/cmdline";
    std::array<char, folder.size() + NAME_MAX + file.size() + 1> path;
    char* const entryPlace = std::copy(folder.begin(), folder.end(), path.data());
    while (const char* const entry = processes.next()) {
        const int id = processId(entry);
        if (id <= 0)
            continue;
        char* const end = std::copy(entry, entry + std::strlen(entry), entryPlace);
        std::memcpy(end, file.data(), file.size() + 1); // with its zero byte
        if (firstArgumentNames(path.data(), name))
            return id;
    }
    return -1;
}

bool runsThisProgram(pid_t id) {
    if (id == getpid())
        return false;
    if (kill(id, 0) != 0 && errno == ESRCH)
        return false;
    // The id may since have gone to another program, or its process wait to be reaped: "ID (NAME) STATE ...".
    const zutl::String number = zutl::String::fromInteger(id);
    zutl::String status;
    std::array<char, 16> ownName; // what the kernel keeps of a name
    if (!status.fromFile(("/proc/" + number + "/stat").c_str()) || prctl(PR_GET_NAME, ownName.data()) != 0)
        return true;
    const std::string ours = number + " (" + ownName.data() + ") ";
    return status.hasPrefix(ours) && status.find_first_of("ZXx", ours.size()) != ours.size();
}
