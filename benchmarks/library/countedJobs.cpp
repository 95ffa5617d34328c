// Does one job, for counting instructions on an emulated machine: countedJobs JOB CONTENDER 0|1. With 0
// everything but the job itself is done, so the difference is what the job costs. Without arguments prints
// what there is, a line for each: job, contender, pieces, separated by tabs.

#include "jobs.h"

#include <cstdio>
#include <string_view>

int main(int count, char** arguments) {
    bench::Jobs jobs;
    bench::addTextJobs(jobs);
    bench::addBinaryJobs(jobs);
    bench::addSettingsJobs(jobs);
    for (const bench::Job& job : jobs) {
        for (const bench::Contender& contender : job.contenders) {
            if (count < 4) {
                std::printf("%s\t%s\t%.0f\n", job.name.c_str(), contender.name.c_str(), job.pieces);
            } else if (job.name == arguments[1] && contender.name == arguments[2]) {
                contender.prepare ? contender.prepare() : contender.run(); // memory is warm now
                if (std::string_view(arguments[3]) == "1")
                    contender.run();
            }
        }
    }
    return 0;
}
