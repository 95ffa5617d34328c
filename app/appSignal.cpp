#include "appSignal.h"

#include "processTable.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace {

// Cuts the last component off a path and gives it.
std::string_view takeLast(std::string_view& path) {
    const size_t slash = path.rfind('/');
    const std::string_view last = path.substr(slash + 1); // all when there is no slash: npos + 1 is 0
    path = path.substr(0, slash == path.npos ? 0 : slash);
    return last;
}

// The name of the application: that of the directory above the working directory "html", when the marker file
// mentions it. Empty when the application cannot be identified.
zutl::String applicationName() {
    zutl::String marker;
    marker.fromFile("pid.cgi");
    if (marker.empty())
        return zutl::String();
    std::array<char, 4096> directory;
    if (getcwd(directory.data(), directory.size()) == nullptr)
        return zutl::String();
    std::string_view path(directory.data());
    if (takeLast(path) != "html")
        return zutl::String();
    const zutl::String name(takeLast(path));
    // An application stands in some directory, not in the root.
    return takeLast(path).empty() || marker.find(name) == marker.npos ? zutl::String() : name;
}

bool sendSignal(const zutl::String& name) {
    // Some web servers start programs with SIGCHLD ignored; system() could then not learn how the command
    // ended.
    std::signal(SIGCHLD, SIG_DFL);
    // Others start them without a search path.
    const char* const path = std::getenv("PATH");
    if (path == nullptr || *path == '\0')
        setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    return std::system(("killall -SIGUSR1 " + name).c_str()) == 0;
}

} // namespace

void restartApp(zutl::String& status) {
    const zutl::String name = applicationName();
    if (name.empty())
        return;
    if (getProcIdByName(name.c_str()) <= 0)
        status = "stopped";
    else
        status = sendSignal(name) ? "restarted" : "running";
}
