// The rasterising of a triangle soup, alone and with what stands around it: laying
// the grid, merging equal corners, and making a record per cell.
// Input: a bumpy torus of one million triangles, 5 cells a triangle, so that there
// are some five million samples; features from 30 degrees on, of which it has none.
// The argument is the number of triangles; items_per_second counts samples. The
// counters give the time of the construction in seconds, the samples, and the
// memory at the peak in bytes a sample, the input and everything else included
// (run one benchmark at a time for it).

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <vector>

#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "sampling/Pixel.h"
#include "support/samplingPlan.h"

using namespace QUOR_ZEF;

namespace {

constexpr double pi = 3.14159265358979323846;

// Around the z axis, with radii near 3 and 1, of 2 * numAround * numAround / 3 triangles.
struct Soup {
    std::vector<Point3> vPoints;
    std::vector<Point3*> vCorners;  // into vPoints

    explicit Soup(std::size_t numAround) {
        const std::size_t numTube = numAround / 3;
        for (std::size_t t = 0; t < numTube; ++t) {
            for (std::size_t a = 0; a < numAround; ++a) {
                const double u = 2.0 * pi * static_cast<double>(a) / static_cast<double>(numAround);
                const double v = 2.0 * pi * static_cast<double>(t) / static_cast<double>(numTube);
                const double tube = 1.0 + 0.05 * std::sin(11.0 * u) * std::sin(7.0 * v);
                const double distance = 3.0 + tube * std::cos(v);
                vPoints.emplace_back(distance * std::cos(u), distance * std::sin(u), tube * std::sin(v));
            }
        }
        for (std::size_t t = 0; t < numTube; ++t) {
            for (std::size_t a = 0; a < numAround; ++a) {
                const std::size_t aNext = (a + 1) % numAround, tNext = (t + 1) % numTube;
                Point3* const p = &vPoints[t * numAround + a];
                Point3* const q = &vPoints[tNext * numAround + aNext];
                vCorners.insert(vCorners.end(), {p, &vPoints[t * numAround + aNext], q});
                vCorners.insert(vCorners.end(), {p, q, &vPoints[tNext * numAround + a]});
            }
        }
    }
};

// The size at which five cells come to a triangle; a smooth surface touches
// about 1.3 cells per squared cell of its area.
double cellFor(std::size_t numTriangles) {
    const double area = 4.0 * pi * pi * 3.0;
    return std::sqrt(1.3 * area / (5.0 * static_cast<double>(numTriangles)));
}

Calc makeGrid(double cell) {
    constexpr int level = 14;
    const double low = -4.2 - 5000.0 * cell;
    const double side = cell * std::ldexp(1.0, level);
    return Calc(low, low, low, side, side, side, level);
}

double peakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

void pixelAll(benchmark::State& state) {
    const auto num = static_cast<std::size_t>(state.range(0));
    const Soup soup(static_cast<std::size_t>(std::sqrt(1.5 * static_cast<double>(num))));
    const Calc calc = makeGrid(cellFor(num));
    std::size_t numSamples = 0;
    for (auto _ : state) {
        state.PauseTiming();
        zef_test::planSampling();
        state.ResumeTiming();
        const auto start = std::chrono::steady_clock::now();
        Pixel pixel(soup.vCorners, &calc);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.counters["construct"] = time.count();
        std::vector<Point3> vOut;
        std::vector<Pixel::CellPair> vFeatureEdges, vBorderEdges;
        pixel.pixelAll(vOut, vFeatureEdges, vBorderEdges, 30.0);
        numSamples = vOut.size();
        benchmark::DoNotOptimize(vOut.data());
    }
    state.counters["samples"] = static_cast<double>(numSamples);
    state.counters["bytesPerSample"] = peakBytes() / static_cast<double>(numSamples);
    state.SetItemsProcessed(state.iterations() * static_cast<int64>(numSamples));
}

void cloudMelt(benchmark::State& state) {
    const auto num = static_cast<std::size_t>(state.range(0));
    std::vector<Point3> vCorners;
    {
        const Soup soup(static_cast<std::size_t>(std::sqrt(1.5 * static_cast<double>(num))));
        for (const Point3* p : soup.vCorners) vCorners.push_back(*p);
    }
    std::size_t numSamples = 0;
    for (auto _ : state) {
        zef_test::planSampling();
        CloudMgr cloudMgr;
        cloudMgr.inputPointsViaMemory(vCorners, cellFor(num), -1.0, true, 30.0, false, nullptr, -1);
        numSamples = cloudMgr.getClouds().front()->vBundles.size();
    }
    state.counters["samples"] = static_cast<double>(numSamples);
    state.counters["bytesPerSample"] = peakBytes() / static_cast<double>(numSamples);
    state.SetItemsProcessed(state.iterations() * static_cast<int64>(numSamples));
}

}  // namespace

BENCHMARK(cloudMelt)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(pixelAll)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
