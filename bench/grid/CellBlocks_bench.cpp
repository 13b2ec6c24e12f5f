// Blocks of cells and the thinning of a band. Input: the cells within 1.5 cells of
// a sphere of radius 163, about 1 million, samples at random in their
// cells (seed 1); for "random" masks the cells in random order. One thread, but for sorts.
// items_per_second counts cells.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "grid/CellBlocks.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"

using namespace QUOR_ZEF;

namespace {

struct Band {
    Calc calc{0, 0, 0, 1024, 1024, 1024, 10};
    std::vector<uint64> vCells;
    std::vector<std::pair<uint64, Point3>> vRCDPoint;

    Band() {
        std::mt19937 random(1);
        std::uniform_real_distribution<double> inside(0.0, 1.0);
        for (int x = 300; x < 700; ++x) {
            for (int y = 300; y < 700; ++y) {
                for (int z = 300; z < 700; ++z) {
                    if (std::abs(std::hypot(x - 500, y - 500, z - 500) - 163) > 1.5) continue;
                    vCells.push_back(packRCD(static_cast<uint64>(x), static_cast<uint64>(y), static_cast<uint64>(z)));
                    const double px = x + inside(random), py = y + inside(random), pz = z + inside(random);
                    vRCDPoint.emplace_back(vCells.back(), Point3(px, py, pz));
                }
            }
        }
    }
};

const Band& band() {
    static const Band theBand;
    return theBand;
}

void count(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(band().vCells.size()));
}

void buildBlocks(benchmark::State& state) {
    for (auto _ : state) {
        const CellBlocks_RCD blocks(band().vCells);
        benchmark::DoNotOptimize(blocks.size());
    }
    count(state);
}

void sweepMasks(benchmark::State& state) {
    const CellBlocks_RCD blocks(band().vCells);
    for (auto _ : state) {
        std::uint32_t sum = 0;
        blocks.forEachMask([&](std::uint32_t, std::uint32_t mask) { sum += mask; });
        benchmark::DoNotOptimize(sum);
    }
    count(state);
}

template <class Ask>
void askEach(benchmark::State& state, bool bShuffle, const Ask& ask) {
    const CellBlocks_RCD blocks(band().vCells);
    std::vector<uint64> v = band().vCells;
    if (bShuffle) std::shuffle(v.begin(), v.end(), std::mt19937(1));
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (const uint64 rcd : v) sum += ask(blocks, rcd);
        benchmark::DoNotOptimize(sum);
    }
    count(state);
}

const auto maskOf = [](const CellBlocks_RCD& blocks, uint64 rcd) { return blocks.mask27(rcd); };
const auto indexOf = [](const CellBlocks_RCD& blocks, uint64 rcd) { return blocks.indexOf(rcd); };
const auto mayGo = [](const CellBlocks_RCD& blocks, uint64 rcd) {
    return static_cast<std::uint32_t>(mayGoBlock(blocks.mask27(rcd), thickRimMissing));
};

void classifyCells(benchmark::State& state) {
    const RemoveDecider_RCD decider(&band().vCells, &band().calc);
    for (auto _ : state) {
        std::vector<uint64> vArea, vBorder;
        decider.classify(vArea, vBorder);
        benchmark::DoNotOptimize(vArea.data());
    }
    count(state);
}

void components(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::vector<uint64>> vComponents;
        createCC_RCD(band().vCells, vComponents);
        benchmark::DoNotOptimize(vComponents.data());
    }
    count(state);
}

// A whole thinning, the making of the decider included.
void thin(benchmark::State& state, bool bLayered) {
    double kept = 0;
    for (auto _ : state) {
        RemoveDecider_RCD decider(&band().vCells, &band().calc);
        std::vector<uint64> vKept, vDoomed;
        if (bLayered) {
            decider.pruneLayered(band().vRCDPoint, band().vCells, vKept, vDoomed, false, true, true);
        } else {
            decider.prune(band().vRCDPoint, band().vCells, vKept, vDoomed, false, true);
        }
        kept = static_cast<double>(vKept.size());
    }
    state.counters["kept"] = kept;
    count(state);
}

BENCHMARK(buildBlocks)->Unit(benchmark::kMillisecond);
BENCHMARK(sweepMasks)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(askEach, mask_in_order, false, maskOf)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(askEach, mask_random, true, maskOf)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(askEach, mayGo_in_order, false, mayGo)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(askEach, indexOf_in_order, false, indexOf)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(askEach, indexOf_random, true, indexOf)->Unit(benchmark::kMillisecond);
BENCHMARK(classifyCells)->Unit(benchmark::kMillisecond);
BENCHMARK(components)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(thin, prune, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(thin, pruneLayered, true)->Unit(benchmark::kMillisecond);

}  // namespace
