// Runs one request with each of several programs in turn, many times, and says what the kernel accounts to
// them:
//
//     runRequests ROUNDS BATCH BODY NAME COMMAND [ARGUMENT...] [-- NAME COMMAND...]...
//
// A batch is so many requests of one program; the programs take turns batch by batch. The environment and the
// working directory are those of this program, the body is a file. Prints a line for each program, separated
// by tabs: name, microseconds of processor time for a request (the 10th percentile of the batches: what
// disturbs only ever adds), page faults (median), peak memory of its process in KB.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Program {
    std::string name;
    std::vector<char*> arguments;   // ended by a null pointer
    std::vector<double> batchTimes; // microseconds for a request
    std::vector<double> pageFaults; // of each request
};

struct Run {
    int rounds;
    int batch;
    const char* body;
    std::vector<Program> programs;
};

Run readArguments(int count, char** arguments) {
    if (count < 6)
        throw std::runtime_error("arguments are missing");
    Run run{std::max(1, std::atoi(arguments[1])), std::max(1, std::atoi(arguments[2])), arguments[3], {}};
    bool isName = true;
    for (int i = 4; i < count; ++i) {
        if (std::string_view(arguments[i]) == "--") {
            isName = true;
        } else if (isName) {
            run.programs.push_back({arguments[i], {}, {}, {}});
            isName = false;
        } else {
            run.programs.back().arguments.push_back(arguments[i]);
        }
    }
    for (Program& program : run.programs) {
        if (program.arguments.empty())
            throw std::runtime_error("no command for " + program.name);
        program.arguments.push_back(nullptr);
    }
    return run;
}

// The request's input and output.
class Files {
public:
    explicit Files(const char* body) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, body, O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;
    ~Files() { posix_spawn_file_actions_destroy(&actions); }

    posix_spawn_file_actions_t actions;
};

double microseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

double runOnce(Program& program, const Files& files) {
    pid_t child;
    if (posix_spawn(&child, program.arguments[0], &files.actions, nullptr, program.arguments.data(),
                    environ) != 0)
        throw std::runtime_error("cannot start " + program.name);
    int status;
    rusage usage;
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("failed: " + program.name);
    program.pageFaults.push_back(static_cast<double>(usage.ru_minflt + usage.ru_majflt));
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

// The kernel's "VmHWM" of a process that stands before its end. What it accounts to a process that has ended
// would be the peak of the one that started it when that is higher.
long peakOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    const std::string wanted = "VmHWM:";
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, wanted.size(), wanted) == 0)
            return std::atol(line.c_str() + wanted.size());
    throw std::runtime_error("no peak memory");
}

[[noreturn]] void becomeTraced(Program& program, const char* body) {
    const int input = open(body, O_RDONLY);
    const int output = open("/dev/null", O_WRONLY);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && dup2(input, STDIN_FILENO) >= 0 &&
        dup2(output, STDOUT_FILENO) >= 0)
        execv(program.arguments[0], program.arguments.data()); // stops behind it
    _exit(127);
}

long peakMemory(Program& program, const char* body) {
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("cannot fork");
    if (child == 0)
        becomeTraced(program, body);
    long peak = 0;
    int status;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    while (WIFSTOPPED(status)) {
        const bool ends = status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
        if (ends)
            peak = peakOf(child);
        const int signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
        ptrace(PTRACE_CONT, child, nullptr, signal);
        waitpid(child, &status, 0);
    }
    return peak;
}

void measure(Run& run) {
    const Files files(run.body);
    for (Program& program : run.programs)
        runOnce(program, files); // brings the files into memory
    for (int round = 0; round < run.rounds; ++round) {
        for (Program& program : run.programs) {
            double time = 0;
            for (int i = 0; i < run.batch; ++i)
                time += runOnce(program, files);
            program.batchTimes.push_back(time / run.batch);
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    try {
        Run run = readArguments(count, arguments);
        measure(run);
        for (Program& program : run.programs)
            std::printf("%s\t%.1f\t%.0f\t%ld\n", program.name.c_str(), percentile(program.batchTimes, 0.1),
                        percentile(program.pageFaults, 0.5), peakMemory(program, run.body));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "runRequests: %s\n", error.what());
        return 1;
    }
}
