// Making a refinement mesh and finishing it.
// Input: a torus of 1000 x 500 vertices, one cell each, with one million
// triangles in the order of their cells. items_per_second counts triangles.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <vector>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "refine/RMesh.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::uint32_t numAround = 1000, numTube = 500;

// The torus as cells, each with its Bundle, and the cell-coded mesh on them.
struct Cells {
    Calc calc{-4, -4, -4, 8, 8, 8, 16};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;
    std::unique_ptr<CMesh> pMesh;

    Cells() {
        for (std::uint32_t t = 0; t < numTube; ++t)
            for (std::uint32_t a = 0; a < numAround; ++a)
                addVertex(2.0 * M_PI * a / numAround, 2.0 * M_PI * t / numTube);
        for (std::size_t i = 0; i < vPoints.size(); ++i) vBundles.push_back({&vPoints[i], calc.getCCD(vPoints[i])});
        std::vector<Bundle*> vSorted;
        for (Bundle& bundle : vBundles) vSorted.push_back(&bundle);
        std::sort(vSorted.begin(), vSorted.end(), [](const Bundle* a, const Bundle* b) { return a->ccd < b->ccd; });
        cells.build(vSorted);
        pMesh = std::make_unique<CMesh>(nullptr, &calc, &cells);
        for (const auto& t : triples()) pMesh->createT(t[0], t[1], t[2], 0, 0);
    }
    void addVertex(double u, double v) {
        const double distance = 2.5 + std::cos(v);
        vPoints.emplace_back(distance * std::cos(u), distance * std::sin(u), std::sin(v));
    }
    std::vector<std::array<uint64, 3>> triples() const {
        std::vector<std::array<uint64, 3>> vT;
        const auto ccd = [&](std::uint32_t a, std::uint32_t t) {
            return vBundles[t % numTube * numAround + a % numAround].ccd;
        };
        for (std::uint32_t t = 0; t < numTube; ++t) {
            for (std::uint32_t a = 0; a < numAround; ++a) {
                vT.push_back({ccd(a, t), ccd(a + 1, t), ccd(a + 1, t + 1)});
                vT.push_back({ccd(a, t), ccd(a + 1, t + 1), ccd(a, t + 1)});
            }
        }
        std::sort(vT.begin(), vT.end());
        return vT;
    }
};

CMesh* cellMesh() {
    static const Cells cells;
    return cells.pMesh.get();
}

template <class Fn>
void onNewMesh(benchmark::State& state, Fn&& fn) {
    CMesh* pCM = cellMesh();
    for (auto _ : state) {
        state.PauseTiming();
        planProgress("bench", {{"RM_cpo", 1.0}, {"RM_kdeg", 1.0}});
        auto pRMesh = std::make_unique<RMesh>(pCM);
        state.ResumeTiming();
        fn(*pRMesh);
        state.PauseTiming();
        pRMesh.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 2 * numAround * numTube);
}

void construct(benchmark::State& state) {
    CMesh* pCM = cellMesh();
    for (auto _ : state) benchmark::DoNotOptimize(std::make_unique<RMesh>(pCM));
    state.SetItemsProcessed(state.iterations() * 2 * numAround * numTube);
}
void killDuplicateTriangles(benchmark::State& state) {
    onNewMesh(state, [](RMesh& mesh) { mesh.killDuplicateTriangles(); });
}
void orientPatches(benchmark::State& state) {
    onNewMesh(state, [](RMesh& mesh) { mesh.orientPatches(); });
}
void killDegenerate(benchmark::State& state) {
    onNewMesh(state, [](RMesh& mesh) { mesh.killDegenerate(); });
}
void finishMesh(benchmark::State& state) {
    onNewMesh(state, [](RMesh& mesh) { mesh.finishMesh(); });
}
void getDegN(benchmark::State& state) {
    onNewMesh(state, [](RMesh& mesh) {
        std::vector<REdge*> vRE;
        mesh.getDegN(-99, vRE);
        benchmark::DoNotOptimize(vRE.data());
    });
}

}  // namespace

BENCHMARK(construct)->Unit(benchmark::kMillisecond);
BENCHMARK(killDuplicateTriangles)->Unit(benchmark::kMillisecond);
BENCHMARK(orientPatches)->Unit(benchmark::kMillisecond);
BENCHMARK(killDegenerate)->Unit(benchmark::kMillisecond);
BENCHMARK(finishMesh)->Unit(benchmark::kMillisecond);
BENCHMARK(getDegN)->Unit(benchmark::kMillisecond);
