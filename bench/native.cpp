#include <benchmark/benchmark.h>

#include "Machine.h"
#include "Scenarios.h"

namespace {

using scenarios::mebibyte;

void fetch(benchmark::State& state, void (*how)(std::int64_t)) {
    const std::int64_t bytes = state.range(0) * mebibyte;
    const double before = machine::processorSeconds();
    for (auto _ : state) how(bytes);
    state.counters["processorSeconds"] =
        benchmark::Counter(machine::processorSeconds() - before, benchmark::Counter::kAvgIterations);
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["peakBytes"] = static_cast<double>(machine::peakResidentBytes());
}

void cycles(benchmark::State& state) {
    scenarios::Growth growth{};
    for (auto _ : state) growth = scenarios::cycles(static_cast<std::int32_t>(state.range(0)));
    state.counters["grownBytes"] = static_cast<double>(growth.bytes);
    state.counters["grownHandles"] = growth.handles;
}

void slowReader(benchmark::State& state) {
    double processor = 0;
    for (auto _ : state) processor = scenarios::sendToSlowReader(state.range(0) * mebibyte);
    state.counters["processorSeconds"] = processor;
}

} // namespace

int main(int argc, char** argv) {
    machine::prepare();
    // In this order: the small download first, so that the peak of the large one shows what its size costs.
    benchmark::RegisterBenchmark("download", fetch, scenarios::download)->Arg(16)->Arg(256)->UseRealTime();
    benchmark::RegisterBenchmark("event", fetch, scenarios::eventLoop)->Arg(256)->UseRealTime();
    benchmark::RegisterBenchmark("plain", fetch, scenarios::plainLoop)->Arg(256)->UseRealTime();
    benchmark::RegisterBenchmark("cycles", cycles)->Arg(10'000)->Iterations(1)->UseRealTime();
    benchmark::RegisterBenchmark("slow", slowReader)->Arg(16)->Arg(64)->Iterations(1)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
