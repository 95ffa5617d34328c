// Does each job once, between two calls of sched_yield, for counting instructions on an emulated machine.
// Prints each job and contender, separated by a tab.

#include "jobs.h"

#include <cstdio>
#include <sched.h>

int main() {
    Contenders contenders;
    addTextJobs(contenders);
    addBinaryJobs(contenders);
    addSettingsJobs(contenders);
    for (const Contender& each : contenders) {
        std::printf("%s\t%s\n", each.job.c_str(), each.name.c_str());
        each.prepare ? each.prepare() : each.run(); // the memory is allocated now
        sched_yield();
        each.run();
        sched_yield();
    }
    return 0;
}
