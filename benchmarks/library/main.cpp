// Times the libraries' jobs and how each operation grows with its input. Takes the arguments of every Google
// Benchmark. Benchmarks are named "JOB/CONTENDER" and "growth/OPERATION/N".

#include "jobs.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

namespace {

void measure(benchmark::State& state, const Contender& contender) {
    contender.prepare ? contender.prepare() : contender.run(); // the memory is allocated now
    for (auto _ : state) {
        if (contender.prepare) {
            state.PauseTiming();
            contender.prepare();
            state.ResumeTiming();
        }
        contender.run();
    }
}

} // namespace

int main(int count, char** arguments) {
    // Freed memory stays with the process: the kernel's work on fresh pages is the same for every contender.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    Contenders contenders;
    for (const auto add :
         {addTextJobs, addBinaryJobs, addSettingsJobs, addTextPeers, addBinaryPeers, addGrowthCases})
        add(contenders);
    for (const Contender& each : contenders)
        benchmark::RegisterBenchmark((each.job + '/' + each.name).c_str(), measure, each);
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
