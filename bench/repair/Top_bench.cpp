// Repairing a fresh mesh, without its first extraction but with the second.
// Input: as many thousand cells of size 1 each as the last number of a name says,
// with points near their middles (seed 7). items_per_second counts cells, and is to
// fall no faster than the logarithm of their number rises. Of one million cells:
//   sheet     one wavy layer of 1000 x 1000 columns
//   noise     the same, with 3 of 10 cells doubled by one above or below
//   sheets    250 layers of 64 x 64, two cells apart
//   filling   a box of 149 cells a side, each there with probability 0.3
//   tubes     35 x 35 square tubes with a membrane in every other cell
//   longTubes 18 x 18 of them, of 200 cells
//   comb      walls of one cell thickness, one apart, on a common floor
//   stairs    steps of one cell along all three axes, in parallel flights

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <random>
#include <vector>

#include "support/voxelMesh.h"

using namespace zef_test;

namespace {

using Cells = std::vector<uint64>;

void put(Cells& v, int x, int y, int z) {
    v.push_back(packRCD(static_cast<uint64>(x + 2), static_cast<uint64>(y + 2), static_cast<uint64>(z + 2)));
}

// Lengths of a million cells, for so many thousand: in two of the three directions, or in all.
int inTwo(int length, int64 thousands) {
    return static_cast<int>(std::lround(length * std::sqrt(static_cast<double>(thousands) / 1000.0)));
}
int inThree(int length, int64 thousands) {
    return static_cast<int>(std::lround(length * std::cbrt(static_cast<double>(thousands) / 1000.0)));
}

Cells wavySheet(int64 thousands, bool bNoise) {
    Cells v;
    std::mt19937 random(7);
    const int side = inTwo(1000, thousands);
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y) {
            const int z = static_cast<int>(100 + 30 * std::sin(x * 0.02) + 20 * std::cos(y * 0.03));
            put(v, x, y, z);
            if (bNoise && random() % 10 < 3) put(v, x, y, random() % 2 == 0 ? z + 1 : z - 1);
        }
    return v;
}
Cells sheet(int64 thousands) {
    return wavySheet(thousands, false);
}
Cells noise(int64 thousands) {
    return wavySheet(thousands, true);
}
Cells sheets(int64 thousands) {
    Cells v;
    const int side = inTwo(64, thousands);
    for (int n = 0; n < 250; ++n)
        for (int x = 0; x < side; ++x)
            for (int y = 0; y < side; ++y) put(v, x, y, 2 * n);
    return v;
}
Cells filling(int64 thousands) {
    Cells v;
    std::mt19937 random(7);
    const int side = inThree(149, thousands);
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y)
            for (int z = 0; z < side; ++z)
                if (random() % 10 < 3) put(v, x, y, z);
    return v;
}
Cells comb(int64 thousands) {
    Cells v;
    const int length = inThree(200, thousands), side = inThree(100, thousands);
    for (int x = 0; x < length; ++x)
        for (int y = 0; y < side; ++y) {
            put(v, x, y, 0);
            if (x % 2 == 0)
                for (int z = 1; z < side; ++z) put(v, x, y, z);
        }
    return v;
}
Cells stairs(int64 thousands) {
    Cells v;
    const int side = inTwo(500, thousands);
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y)
            for (int n = 0; n < 4; ++n) put(v, x, y, (x + y) / 2 + 3 * n + (x + y) % 2);
    return v;
}
Cells tubesOf(int side, int length) {
    Cells v;
    for (int a = 0; a < side * side; ++a)
        for (int z = 0; z < length; ++z)
            for (int i = 0; i < 16; ++i) {
                const bool bInside = i % 4 % 3 != 0 && i / 4 % 3 != 0;
                if (z % 2 == 0 || !bInside) put(v, 6 * (a / side) + i % 4, 6 * (a % side) + i / 4, z);
            }
    return v;
}

Cells tubes(int64 thousands) {
    return tubesOf(inTwo(35, thousands), 58);
}
Cells longTubes(int64 thousands) {
    return tubesOf(inTwo(18, thousands), 200);
}

void repair(benchmark::State& state, Cells (*make)(int64 thousands)) {
    const Cells vRCD = make(state.range(0));
    std::size_t numCells = 0, numBefore = 0, numAfter = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        auto pMesh = std::make_unique<VoxelMesh>(vRCD);
        numCells = vRCD.size();
        numBefore = pMesh->numEdges(-1);
        state.ResumeTiming();
        pMesh->run();
        state.PauseTiming();
        numAfter = pMesh->numEdges(-1);
        pMesh.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(numCells));
    state.counters["nonManifoldBefore"] = static_cast<double>(numBefore);
    state.counters["nonManifoldAfter"] = static_cast<double>(numAfter);
}

BENCHMARK_CAPTURE(repair, sheet, sheet)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, noise, noise)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, sheets, sheets)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, filling, filling)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, tubes, tubes)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, longTubes, longTubes)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, comb, comb)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, stairs, stairs)->Arg(250)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
