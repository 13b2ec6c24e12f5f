// What a parallel loop costs beyond its work, and how it grows with the work.
// Input: 2 elements with nothing to do; 10 million doubles (0, 1, 2, ...), whose
// square roots are summed up to a depth of eight. Wall time, all hardware threads.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "parallel/parallelTransform.h"
#include "store/SimplePool.h"

using namespace QUOR_ZEF;

namespace {

void emptyLoopOver2(benchmark::State& state) {
    const std::vector<int> vIn(2);
    for (auto _ : state) parallelForEach(vIn, [](const int& i) { benchmark::DoNotOptimize(&i); });
}
BENCHMARK(emptyLoopOver2)->UseRealTime();

double sumRoots(double x) {
    double sum = 0.0;
    for (int i = 0; i < 8; ++i) sum += std::sqrt(x + i);
    return sum;
}

std::vector<double> makeInput() {
    std::vector<double> vIn(10'000'000);
    for (std::size_t i = 0; i < vIn.size(); ++i) vIn[i] = static_cast<double>(i);
    return vIn;
}

void serialRoots(benchmark::State& state) {
    const auto vIn = makeInput();
    std::vector<double> vOut;
    for (auto _ : state) {
        vOut.clear();
        for (const double x : vIn) vOut.push_back(sumRoots(x));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(vIn.size()));
}
BENCHMARK(serialRoots)->UseRealTime()->Unit(benchmark::kMillisecond);

void parallelRoots(benchmark::State& state) {
    const auto vIn = makeInput();
    std::vector<double> vOut;
    for (auto _ : state) {
        vOut.clear();
        parallelTransform(vIn, vOut, sumRoots);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(vIn.size()));
}
BENCHMARK(parallelRoots)->UseRealTime()->Unit(benchmark::kMillisecond);

void poolAlloc(benchmark::State& state) {
    for (auto _ : state) {
        SimplePool<double> pool;
        pool.init(1'000'000, 100'000);
        for (int i = 0; i < 1'000'000; ++i) *pool.alloc() = i;
    }
    state.SetItemsProcessed(state.iterations() * 1'000'000);
}
BENCHMARK(poolAlloc)->UseRealTime();

}  // namespace
