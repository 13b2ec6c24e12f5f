// From points in memory to cells, and to a mesh, with the time of each stage.
// Input: see bumpyScan.h; the argument is the number of points, and
// items_per_second counts them. Run one case at a time with --benchmark_filter:
// bytesPerPoint is the peak of the process, input included. The other counters are
// the seconds of the stages of the last iteration. All hardware threads.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "cloud/Cloud.h"
#include "cloud/bumpyScan.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "grid/Calc.h"
#include "zef/reconstruction.h"

using namespace QUOR_ZEF;

namespace {

using Clock = std::chrono::steady_clock;

// The seconds of each stage of a call, from when the stages change.
class StageClock {
public:
    std::map<std::string, double> mSeconds;  // by tag
    Context context;

    StageClock() {
        context.progress = [this](const ProgressStep& step) {
            const Clock::time_point now = Clock::now();
            if (!tag.empty()) mSeconds[tag] += std::chrono::duration<double>(now - last).count();
            tag = step.tag;
            last = now;
            return true;
        };
    }

private:
    std::string tag;
    Clock::time_point last;
};

void report(benchmark::State& state, const StageClock& clock) {
    for (const auto& [tag, seconds] : clock.mSeconds) state.counters[tag] = seconds;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["bytesPerPoint"] =
        static_cast<double>(usage.ru_maxrss) * 1024.0 / static_cast<double>(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Spacing, grid, sampling and thinning; no filling.
void cells(benchmark::State& state) {
    const std::vector<Point3> vPoints = makeBumpyScan(static_cast<std::size_t>(state.range(0)));
    StageClock clock;
    for (auto _ : state) {
        clock.mSeconds.clear();
        Run run(clock.context);
        const RunScope scope(run);
        planProgress("bench", {{"CL_eres", 1.0}, {"SM_run", 1.0}, {"CL_creb", 1.0}});
        Cloud cloud("bench", -1.0, 1.0, false, 0);
        cloud.setPoints(vPoints);
        cloud.prepareScanPoints(false, nullptr);
        getProgress()->finish(true);
        state.counters["cells"] = static_cast<double>(cloud.vBundles.size());
    }
    report(state, clock);
}

// The arguments behind the number of points: growth steps.
void mesh(benchmark::State& state) {
    const std::vector<Point3> vPoints = makeBumpyScan(static_cast<std::size_t>(state.range(0)));
    ReconstructOptions options;
    options.factor = 1.0;
    options.growSteps = static_cast<int>(state.range(1));
    options.mend = false;
    StageClock clock;
    for (auto _ : state) {
        clock.mSeconds.clear();
        const TriangleMesh made = reconstruct(vPoints, options, clock.context).mesh;
        state.counters["triangles"] = static_cast<double>(made.numTriangles());
    }
    report(state, clock);
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
