// Repairing a fresh mesh, without its first extraction but with the second.
// Input: one million cells of size 1 each, with points near their middles (seed
// 7). items_per_second counts cells.
//   sheet     one wavy layer of 1000 x 1000 columns
//   noise     the same, with 3 of 10 cells doubled by one above or below
//   sheets    250 layers of 64 x 64, two cells apart
//   filling   a box of 149 cells a side, each there with probability 0.3
//   comb      walls of one cell thickness, one apart, on a common floor
//   stairs    steps of one cell along all three axes, in parallel flights

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <random>
#include <vector>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "polygon/Voro.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;

namespace {

using Cells = std::vector<uint64>;

void put(Cells& v, int x, int y, int z) {
    v.push_back(packCCD(static_cast<uint64>(x + 2), static_cast<uint64>(y + 2), static_cast<uint64>(z + 2)));
}

Cells wavySheet(bool bNoise) {
    Cells v;
    std::mt19937 random(7);
    for (int x = 0; x < 1000; ++x)
        for (int y = 0; y < 1000; ++y) {
            const int z = static_cast<int>(100 + 30 * std::sin(x * 0.02) + 20 * std::cos(y * 0.03));
            put(v, x, y, z);
            if (bNoise && random() % 10 < 3) put(v, x, y, random() % 2 == 0 ? z + 1 : z - 1);
        }
    return v;
}
Cells parallelSheets() {
    Cells v;
    for (int n = 0; n < 250; ++n)
        for (int x = 0; x < 64; ++x)
            for (int y = 0; y < 64; ++y) put(v, x, y, 2 * n);
    return v;
}
Cells randomFilling() {
    Cells v;
    std::mt19937 random(7);
    for (int x = 0; x < 149; ++x)
        for (int y = 0; y < 149; ++y)
            for (int z = 0; z < 149; ++z)
                if (random() % 10 < 3) put(v, x, y, z);
    return v;
}
Cells comb() {
    Cells v;
    for (int x = 0; x < 200; ++x)
        for (int y = 0; y < 100; ++y) {
            put(v, x, y, 0);
            if (x % 2 == 0)
                for (int z = 1; z < 100; ++z) put(v, x, y, z);
        }
    return v;
}
Cells stairs() {
    Cells v;
    for (int x = 0; x < 500; ++x)
        for (int y = 0; y < 500; ++y)
            for (int n = 0; n < 4; ++n) put(v, x, y, (x + y) / 2 + 3 * n + (x + y) % 2);
    return v;
}
struct Input {
    Calc calc{0, 0, 0, 1024, 1024, 1024, 10};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;
    std::unique_ptr<Voro> pVoro;
    std::unique_ptr<CMesh> pMesh;

    explicit Input(Cells vCCD) {
        planProgress("repair", {{"VO_ftx", 1.0},
                                {"VO_amb", 1.0},
                                {"TP_unif", 1.0},
                                {"TP_pps", 1.0},
                                {"TP_cbcpl", 1.0},
                                {"TP_itr", 1.0},
                                {"TP_fin", 1.0}});
        std::sort(vCCD.begin(), vCCD.end());
        vCCD.erase(std::unique(vCCD.begin(), vCCD.end()), vCCD.end());
        calc.getCellCenters(vCCD, vPoints);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> move(-0.3, 0.3);
        for (Point3& p : vPoints) p.set(p.px + move(random), p.py + move(random), p.pz + move(random));
        for (std::size_t i = 0; i < vCCD.size(); ++i) vBundles.push_back({&vPoints[i], vCCD[i]});
        std::vector<Bundle*> vPointers;
        for (Bundle& bundle : vBundles) vPointers.push_back(&bundle);
        cells.build(vPointers);
        pVoro = std::make_unique<Voro>(&calc, &cells, TM_FAT);
        pVoro->fatExtractTriangles();
        pMesh = pVoro->releaseMesh();
    }
};

std::size_t numNonManifold(const CMesh& mesh) {
    std::vector<CEdge*> vEdges;
    mesh.getDegN(-1, vEdges);
    return vEdges.size();
}

void repair(benchmark::State& state, const Cells& vCCD) {
    std::size_t numCells = 0, numBefore = 0, numAfter = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        auto pInput = std::make_unique<Input>(vCCD);
        numCells = pInput->vPoints.size();
        numBefore = numNonManifold(*pInput->pMesh);
        state.ResumeTiming();
        Top(pInput->pMesh.get(), &pInput->calc).run(pInput->pVoro.get());
        state.PauseTiming();
        numAfter = numNonManifold(*pInput->pMesh);
        pInput.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(numCells));
    state.counters["nonManifoldBefore"] = static_cast<double>(numBefore);
    state.counters["nonManifoldAfter"] = static_cast<double>(numAfter);
}

BENCHMARK_CAPTURE(repair, sheet, wavySheet(false))->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, noise, wavySheet(true))->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, sheets, parallelSheets())->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, filling, randomFilling())->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, comb, comb())->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repair, stairs, stairs())->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
