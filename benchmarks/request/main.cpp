// Times one request with each of several programs: request_bench [BENCHMARK ARGUMENT...] -- BATCH NAME
// COMMAND... [-- BATCH NAME COMMAND...]. A batch is so many requests of one program. The body is the file
// "body" in the working directory's parent; environment and working directory are those of this program.
// Counts the processor time, user and system together, and as counters the page faults and the peak memory of
// the process in KB.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
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

constexpr const char* body = "../body";

using Command = std::vector<char*>; // ended by a null pointer

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

rusage runOnce(const Command& command) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, body, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child;
    const int error = posix_spawn(&child, command.front(), &files, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status;
    rusage usage;
    if (error != 0 || wait4(child, &status, 0, &usage) != child || status != 0)
        throw std::runtime_error(command.front());
    return usage;
}

// Returns the kernel's "VmHWM" of a process.
double peakOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:" && status >> word)
            return std::atof(word.c_str());
    throw std::runtime_error("no peak memory");
}

// Stops the program just before it ends: what the kernel says later would be the peak of this program if that
// is higher.
double peakMemory(const Command& command) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 &&
            dup2(open(body, O_RDONLY), STDIN_FILENO) >= 0 &&
            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO) >= 0)
            execv(command.front(), command.data());
        _exit(127);
    }
    double peak = 0;
    int status;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    for (; WIFSTOPPED(status); waitpid(child, &status, 0)) {
        if (status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8)))
            peak = peakOf(child);
        ptrace(PTRACE_CONT, child, nullptr, WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status));
    }
    return peak;
}

void measure(benchmark::State& state, const Command& command) {
    rusage usage = runOnce(command); // the files are in memory now
    for (auto _ : state) {
        usage = runOnce(command);
        state.SetIterationTime(seconds(usage.ru_utime) + seconds(usage.ru_stime));
    }
    state.counters["faults"] = static_cast<double>(usage.ru_minflt + usage.ru_majflt);
    state.counters["memory"] = peakMemory(command);
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view separator = "--";
    char** const end = arguments + count;
    char** next = std::find(arguments, end, separator);
    int own = static_cast<int>(next - arguments);
    while (end - next > 3) {
        char** const last = std::find(next + 1, end, separator);
        Command command(next + 3, last);
        command.push_back(nullptr);
        benchmark::RegisterBenchmark(next[2], measure, command)
            ->UseManualTime()
            ->Iterations(std::atoi(next[1]));
        next = last;
    }
    benchmark::Initialize(&own, arguments);
    if (benchmark::ReportUnrecognizedArguments(own, arguments))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
