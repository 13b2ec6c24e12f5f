// The sampling of a scan, as a whole and by stage.
// Input: see bumpyScan.h; the cell is about what the library measures. The argument is the number of points, and
// items_per_second counts them. The counters give the time of each stage in
// seconds, and the nodes and links per point. All hardware threads.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "cloud/bumpyScan.h"
#include "frame/Progress.h"
#include "sampling/Smooth.h"

using namespace QUOR_ZEF;

namespace {

Calc makeGrid(double cell) {
    const int level = static_cast<int>(std::log2(std::ceil(2.8 / cell) + 10000.0)) + 1;
    const double low = -1.4 - 5000.0 * cell;
    const double side = cell * std::pow(2.0, level);
    return Calc(low, low, low, side, side, side, level);
}

void smoothRun(benchmark::State& state) {
    const auto num = static_cast<std::size_t>(state.range(0));
    const std::vector<Point3> vInput = makeBumpyScan(num);
    Calc calc = makeGrid(spacingOfScan(num));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Point3> vPoints = vInput;
        planProgress("bench", {{"SM_run", 3.0}});
        state.ResumeTiming();
        Smooth smooth(&vPoints, &calc);
        smooth.run(false);
        benchmark::DoNotOptimize(smooth.vNodes.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void smoothStages(benchmark::State& state) {
    const auto num = static_cast<std::size_t>(state.range(0));
    const std::vector<Point3> vInput = makeBumpyScan(num);
    Calc calc = makeGrid(spacingOfScan(num));
    const std::vector<std::pair<std::string, void (Smooth::*)()>> vStages = {
        {"1merge", &Smooth::mergeCellPoints}, {"2bridge", &Smooth::addBridgePoints}, {"3create", &Smooth::createNodes},
        {"4densify", &Smooth::densifyNeigs},  {"5relink", &Smooth::relinkNodes},     {"6smooth", &Smooth::smoothOnce},
        {"7densify", &Smooth::densifyNeigs},  {"8relink", &Smooth::relinkNodes},     {"9planes", &Smooth::fitPlanes}};
    for (auto _ : state) {
        std::vector<Point3> vPoints = vInput;
        Smooth smooth(&vPoints, &calc);
        for (const auto& [name, pStage] : vStages) {
            const auto start = std::chrono::steady_clock::now();
            (smooth.*pStage)();
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            state.counters[name] = time.count();
        }
        state.counters["nodesPerPoint"] = static_cast<double>(smooth.vNodes.size()) / static_cast<double>(num);
        state.counters["linksPerPoint"] = static_cast<double>(smooth.vLinks.size()) / static_cast<double>(num);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(smoothRun)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(smoothStages)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
