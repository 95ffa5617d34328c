#include "harness.h"

#include <algorithm>
#include <ctime>
#include <malloc.h>
#include <stdexcept>

namespace bench {

namespace {

constexpr double batchTime = 2e6; // ns; long against the clock's own time

double timeOf(const Contender& contender, int runs) {
    double total = 0;
    if (contender.prepare) {
        for (int run = 0; run < runs; ++run) {
            contender.prepare();
            const double start = processorTime();
            contender.run();
            total += processorTime() - start;
        }
        return total / runs;
    }
    const double start = processorTime();
    for (int run = 0; run < runs; ++run)
        contender.run();
    return (processorTime() - start) / runs;
}

// So many runs that a batch takes about batchTime. Warms the contender up.
int runsInBatch(const Contender& contender) {
    timeOf(contender, 1);
    int runs = 1;
    double each = timeOf(contender, runs);
    while (each * runs < batchTime / 4) {
        runs *= 4;
        each = timeOf(contender, runs);
    }
    return std::max(1, static_cast<int>(batchTime / each));
}

} // namespace

void fail(std::string_view what) {
    throw std::runtime_error(std::string(what));
}

void keepMemory() {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

double processorTime() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<double> measure(const Job& job, int rounds) {
    if (job.begin)
        job.begin();
    const size_t count = job.contenders.size();
    std::vector<int> runs;
    for (const Contender& contender : job.contenders)
        runs.push_back(runsInBatch(contender));
    std::vector<std::vector<double>> times(count);
    for (int round = 0; round < rounds; ++round) {
        for (size_t turn = 0; turn < count; ++turn) {
            // Nobody always runs behind the same neighbour.
            const size_t index = (turn + static_cast<size_t>(round)) % count;
            const Contender& contender = job.contenders[index];
            timeOf(contender, 1); // everybody finds the caches as its own run leaves them
            times[index].push_back(timeOf(contender, runs[index]) / job.pieces);
        }
    }
    std::vector<double> medians;
    for (const std::vector<double>& each : times)
        medians.push_back(median(each));
    return medians;
}

} // namespace bench
