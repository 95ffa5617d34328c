#include "processTable.h"

#include "zutl_File.h"
#include "zutl_String.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
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
    zutl::String component;
    std::array<char, 256> block;
    for (;;) {
        const ssize_t received = zutl::readSome(file.get(), block.data(), block.size());
        if (received <= 0)
            break;
        const std::string_view bytes(block.data(), static_cast<size_t>(received));
        const std::string_view argument = bytes.substr(0, bytes.find_first_of(std::string_view("\0\n", 2)));
        const size_t slash = argument.rfind('/');
        if (slash != argument.npos)
            component.clear();
        component += argument.substr(slash + 1); // all of it when there is no slash: npos + 1 is 0
        // The kernel gives less than was asked for only at the end.
        if (argument.size() < bytes.size() || bytes.size() < block.size())
            break;
    }
    return component == name;
}

} // namespace

int getProcIdByName(const char* name) {
    const std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
    if (!processes)
        return -1;
    zutl::String path;
    while (const dirent* const entry = readdir(processes.get())) {
        const long id = std::strtol(entry->d_name, nullptr, 10);
        if (id <= 0)
            continue;
        path = "/proc/";
        path += entry->d_name;
        path += "/cmdline";
        if (firstArgumentNames(path.c_str(), name))
            return static_cast<int>(id);
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
