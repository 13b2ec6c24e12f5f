// The filling of gaps, as a whole and by stage.
// Input: a square sheet of unit cells, one thick, over a wavy height (seed 1 for
// samples off it by up to 0.2 cells), with round holes of radius 1.5 to 6.5 cells
// in the middle of each field of 96 x 96 cells; bench "closed" has no
// holes. 20 growth steps. The arguments are the number of cells, and how far from the zero
// level the field grows (4 where borders are kept, 0 for anywhere); items_per_second
// counts the cells. The counters give the processor seconds of each stage, the cells filled, and
// the peak memory of the process so far in MB. All hardware threads.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "gaps/Filler.h"
#include "grid/RemoveDecider_RCD.h"

using namespace QUOR_ZEF;

namespace {

constexpr int numGrowSteps = 20;

struct Sheet {
    Calc calc{0, 0, 0, 16384, 16384, 16384, 14};
    Filler::CodePoints vRCDPoint;
    std::vector<uint64> vArea, vBorder;

    Sheet(std::int64_t numCells, bool bHoles) {
        const int side = static_cast<int>(std::sqrt(static_cast<double>(numCells)));
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> noise(-0.2, 0.2);
        std::vector<uint64> vRCD;
        for (int x = 0; x < side; ++x) {
            for (int y = 0; y < side; ++y) {
                if (bHoles && isHole(x, y)) continue;
                const double height = 4000.5 + 12.0 * std::sin(x / 40.0) * std::cos(y / 55.0) + noise(random);
                const Point3 p(4000.5 + x + noise(random), 4000.5 + y + noise(random), height);
                vRCD.push_back(calc.getRCD(p));
                vRCDPoint.emplace_back(vRCD.back(), p);
            }
        }
        RemoveDecider_RCD(&vRCD, &calc).classify(vArea, vBorder);
    }

    static bool isHole(int x, int y) {
        constexpr int field = 96;
        const double radius = 1.5 + (x / field + 3 * (y / field)) % 6;
        return std::hypot(x % field - 47.5, y % field - 47.5) < radius;
    }
};

// Of all threads.
double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double secondsSince(double& start) {
    const double now = processorSeconds(), seconds = now - start;
    start = now;
    return seconds;
}

double peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void fillSheet(benchmark::State& state, bool bHoles) {
    const Sheet sheet(state.range(0), bHoles);
    for (auto _ : state) {
        std::vector<uint64> vBorder = sheet.vBorder;
        Filler filler(numGrowSteps, vBorder, sheet.vArea, sheet.vRCDPoint, &sheet.calc);
        if (state.range(1) > 0) filler.maxSourceSteps = static_cast<int>(state.range(1));
        double clock = processorSeconds();
        filler.createComponents();
        state.counters["label"] = secondsSince(clock);
        Filler::AffiPairs vPairs;
        filler.determineAffiliation(150, vPairs);
        filler.orient(vPairs);
        filler.mergeComponents();
        state.counters["merge"] = secondsSince(clock);
        Filler::CodePoints vOut;
        filler.growComponents(vOut);
        state.counters["grow"] = secondsSince(clock);
        state.counters["filled"] = static_cast<double>(vOut.size());
    }
    state.counters["peakMB"] = peakMegabytes();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(sheet.vRCDPoint.size()));
}

void gaps(benchmark::State& state) {
    fillSheet(state, true);
}
void closed(benchmark::State& state) {
    fillSheet(state, false);
}

BENCHMARK(gaps)
    ->ArgsProduct({{50'000, 250'000, 1'000'000, 3'000'000}, {0, 4}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(closed)->Args({1'000'000, 0})->Args({1'000'000, 4})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
