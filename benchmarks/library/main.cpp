// Times the libraries' jobs and how each operation grows with its input. Takes the arguments of every Google
// Benchmark. Benchmarks are named "JOB/CONTENDER" and "growth/OPERATION/N"; the items of the former are the
// job's pieces.

#include "jobs.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

namespace {

void measure(benchmark::State& state, const bench::Contender& contender, double pieces) {
    contender.prepare ? contender.prepare() : contender.run();
    for (auto _ : state) {
        if (contender.prepare) {
            state.PauseTiming();
            contender.prepare();
            state.ResumeTiming();
        }
        contender.run();
    }
    state.counters["pieces"] = pieces;
}

} // namespace

int main(int count, char** arguments) {
    // Memory that was used once stays with the process from now on: the kernel's work on fresh pages is the
    // same for everybody, and would hide the rest.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    bench::Jobs jobs;
    bench::addTextJobs(jobs);
    bench::addBinaryJobs(jobs);
    bench::addSettingsJobs(jobs);
    bench::addTextPeers(jobs);
    bench::addBinaryPeers(jobs);
    for (const bench::Job& job : jobs)
        for (const bench::Contender& contender : job.contenders)
            benchmark::RegisterBenchmark((job.name + '/' + contender.name).c_str(), measure, contender,
                                         job.pieces);
    for (const bench::Contender& each : bench::growthCases())
        benchmark::RegisterBenchmark(("growth/" + each.name).c_str(), measure, each, 1);
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
