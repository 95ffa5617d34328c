#include "appSignal.h"

#include "processTable.h"
#include "report.h"
#include "zutl_File.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* markerFile = "pid.cgi";

// Removes the last component from a path and returns it.
std::string_view takeLast(std::string_view& path) {
    const size_t slash = path.rfind('/');
    const std::string_view last = path.substr(slash + 1); // all of it without a slash: npos + 1 is 0
    path = path.substr(0, slash == path.npos ? 0 : slash);
    return last;
}

// Returns the name of the application: that of the directory above the working directory "html", if the
// marker file mentions it. If the application cannot be identified, reports why and returns empty text.
zutl::String applicationName() {
    zutl::String marker;
    if (!marker.fromFile(markerFile)) {
        report(markerFile, errno);
        return zutl::String();
    }
    std::array<char, 4096> directory;
    if (getcwd(directory.data(), directory.size()) == nullptr) {
        report("working directory", errno);
        return zutl::String();
    }
    std::string_view path(directory.data());
    const bool isWebFolder = takeLast(path) == "html";
    zutl::String name(takeLast(path));
    if (!isWebFolder || takeLast(path).empty()) { // the application's directory is not in the root
        report(directory.data(), "is not the folder html of an application");
        return zutl::String();
    }
    if (marker.find(name) == marker.npos) {
        report(markerFile, "does not mention the application");
        return zutl::String();
    }
    return name;
}

// Makes `to` a copy of the descriptor. Returns false on an error.
bool copyDescriptor(int from, int to) {
    int result;
    do
        result = dup2(from, to);
    while (result < 0 && (errno == EINTR || errno == EBUSY));
    return result >= 0;
}

// Redirects standard output to standard error for as long as it exists, so that the output of a command does
// not get into the response. Discards the output if standard error is the response too.
class OutputKeptFromResponse {
public:
    OutputKeptFromResponse() : response(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        if (errorsReachResponse()) {
            const zutl::File nowhere("/dev/null", O_WRONLY);
            if (nowhere.isOpen())
                copyDescriptor(nowhere.get(), STDERR_FILENO);
            else
                close(STDERR_FILENO);
        }
        if (response >= 0 && !copyDescriptor(STDERR_FILENO, STDOUT_FILENO))
            close(STDOUT_FILENO);
    }
    OutputKeptFromResponse(const OutputKeptFromResponse&) = delete;
    OutputKeptFromResponse& operator=(const OutputKeptFromResponse&) = delete;
    ~OutputKeptFromResponse() {
        if (response < 0)
            return;
        copyDescriptor(response, STDOUT_FILENO);
        close(response);
    }

private:
    int response; // a copy of standard output
};

int runCommand(const zutl::String& command) {
    const OutputKeptFromResponse kept;
    return std::system(command.c_str());
}

void reportCommand(const zutl::String& command, int status) {
    if (status == -1)
        report(command, errno);
    else if (WIFSIGNALED(status))
        report(command, "was killed by signal " + zutl::String::fromInteger(WTERMSIG(status)));
    else
        report(command, "failed with exit status " + zutl::String::fromInteger(WEXITSTATUS(status)));
}

bool sendSignal(const zutl::String& name) {
    // Some web servers start programs with SIGCHLD ignored. system() could not get the exit status then.
    std::signal(SIGCHLD, SIG_DFL);
    // Some start them without a search path.
    const char* const path = std::getenv("PATH");
    if (path == nullptr || *path == '\0')
        setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    const zutl::String command = "killall -SIGUSR1 " + name;
    const int status = runCommand(command);
    if (status != 0)
        reportCommand(command, status);
    return status == 0;
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
