// From points in memory to cells, and to a mesh, with the time of each stage.
// Input: see bumpyScan.h; the argument is the number of points, and
// items_per_second counts them. Run one case at a time with --benchmark_filter:
// bytesPerPoint is the peak of the process, input included. The other counters are
// the seconds of the stages of the last iteration. All hardware threads.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <vector>

#include "cloud/Cloud.h"
#include "cloud/bumpyScan.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "zef/Mesh.h"
#include "zef/zef_api_functions.h"

using namespace QUOR_ZEF;

namespace {

void report(benchmark::State& state) {
    for (const StageTimes::Stage& stage : getStageTimes().vStages) {
        state.counters[stage.name] = static_cast<double>(stage.nanoseconds) * 1e-9;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["bytesPerPoint"] =
        static_cast<double>(usage.ru_maxrss) * 1024.0 / static_cast<double>(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Spacing, grid, sampling and thinning; no filling.
void cells(benchmark::State& state) {
    const std::vector<Point3> vPoints = makeBumpyScan(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        getStageTimes().clear();
        planProgress("bench", {{"CL_eres", 1.0}, {"SM_run", 1.0}, {"CL_creb", 1.0}});
        Cloud cloud("bench", -1.0, 1.0, false, 0);
        cloud.setPoints(vPoints);
        cloud.prepareScanPoints(false, nullptr);
        getProgress()->finish(false);
        state.counters["cells"] = static_cast<double>(cloud.vBundles.size());
    }
    report(state);
}

// The arguments behind the number of points: growth steps.
void mesh(benchmark::State& state) {
    std::vector<Point3> vPoints = makeBumpyScan(static_cast<std::size_t>(state.range(0)));
    ReconstructOptions options;
    options.factor = 1.0;
    options.growSteps = static_cast<int>(state.range(1));
    for (auto _ : state) {
        getStageTimes().clear();
        const auto pMesh = reconstruct(vPoints, options);
        state.counters["triangles"] = static_cast<double>(pMesh->getNumT());
    }
    report(state);
}

void sizes(benchmark::internal::Benchmark* pBenchmark) {
    for (const int num : {100'000, 300'000, 1'000'000, 3'000'000, 10'000'000}) pBenchmark->Arg(num);
}

}  // namespace

BENCHMARK(cells)->Apply(sizes)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(mesh)
    ->Args({1'000'000, 0})
    ->Args({1'000'000, 20})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
