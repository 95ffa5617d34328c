// Times the libraries' jobs: library_bench [--rounds N] [--tsv FILE] [PART OF A JOB'S NAME]. Prints a table;
// the file gets the same for scripts, one contender a line.

#include "jobs.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string_view>

namespace {

struct Options {
    int rounds = 31;
    std::string tsvFile;
    std::string wanted;
};

Options readOptions(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument(arguments[i]);
        const bool hasValue = i + 1 < count;
        if (argument == "--rounds" && hasValue)
            options.rounds = std::max(1, std::atoi(arguments[++i]));
        else if (argument == "--tsv" && hasValue)
            options.tsvFile = arguments[++i];
        else
            options.wanted = argument;
    }
    return options;
}

void print(const bench::Job& job, const std::vector<double>& times) {
    std::printf("%-34s %9.2f ns/%-7s ours %6.2f (target %.2f)", job.name.c_str(), times[0], job.unit.c_str(),
                times[1] / times[0], job.target);
    for (size_t i = 2; i < times.size(); ++i)
        std::printf("  %s %.2f", job.contenders[i].name.c_str(), times[i] / times[0]);
    std::printf("\n");
    std::fflush(stdout);
}

void write(std::ofstream& file, const bench::Job& job, const std::vector<double>& times) {
    for (size_t i = 0; i < times.size(); ++i)
        file << job.name << '\t' << job.unit << '\t' << job.limit << '\t' << job.target << '\t'
             << job.contenders[i].name << '\t' << times[i] << '\n';
}

int run(const Options& options) {
    Jobs jobs;
    addUrlJobs(jobs);
    addFormJobs(jobs);
    addPercentJobs(jobs);
    addContainerJobs(jobs);
    addRecordJobs(jobs);
    addEntityJobs(jobs);
    std::ofstream file;
    if (!options.tsvFile.empty())
        file.open(options.tsvFile);
    for (const bench::Job& job : jobs) {
        if (job.name.find(options.wanted) == job.name.npos)
            continue;
        const std::vector<double> times = bench::measure(job, options.rounds);
        print(job, times);
        write(file, job, times);
    }
    return options.tsvFile.empty() || file.flush() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments) {
    bench::keepMemory();
    try {
        return run(readOptions(count, arguments));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "library_bench: %s\n", error.what());
        return 1;
    }
}
