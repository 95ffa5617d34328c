#include "appSignal.h"

#include "processTable.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <unistd.h>
#include <vector>

namespace {

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
    const std::vector<zutl::String> pieces = zutl::String(directory.data()).tokenize("/", "");
    if (pieces.size() < 3 || pieces.back() != "html")
        return zutl::String();
    const zutl::String& name = pieces[pieces.size() - 2];
    return marker.find(name) == marker.npos ? zutl::String() : name;
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
