// From cells to the first mesh: a sphere of the given radius in cells, thinned to
// one cell, which leaves about 10 r^2 cells and 21 r^2 triangles. No random input.
// Reported per triangle, but for the corners.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "grid/RemoveDecider_RCD.h"
#include "polygon/Voro.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;

namespace {

struct Sphere {
    Calc calc{0.0, 0.0, 0.0, 65536.0, 65536.0, 65536.0, 16};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;

    explicit Sphere(int radius) {
        constexpr int center = 20000;
        std::vector<std::pair<uint64, Point3>> vRCDPoint;
        std::vector<uint64> vRCD, vKept, vDoomed;
        for (int x = -radius - 1; x <= radius; ++x) {
            for (int y = -radius - 1; y <= radius; ++y) {
                for (int z = -radius - 1; z <= radius; ++z) {
                    const Point3 p(center + x + 0.5, center + y + 0.5, center + z + 0.5);
                    if (std::abs(std::hypot(x + 0.5, y + 0.5, z + 0.5) - radius) > 0.87) continue;
                    vRCD.push_back(calc.getRCD(p));
                    vRCDPoint.emplace_back(vRCD.back(), p);
                }
            }
        }
        RemoveDecider_RCD decider(&vRCD, &calc);
        decider.pruneLayered(vRCDPoint, vRCD, vKept, vDoomed, false, true, true);
        for (uint64& code : vKept) code = calc.rcdToCcd(code);
        std::sort(vKept.begin(), vKept.end());
        calc.getCellCenters(vKept, vPoints);
        for (std::size_t i = 0; i < vKept.size(); ++i) vBundles.push_back({&vPoints[i], vKept[i]});
        std::vector<Bundle*> vPointers;
        for (Bundle& bundle : vBundles) vPointers.push_back(&bundle);
        cells.build(vPointers);
    }
};

void report(benchmark::State& state, const Sphere& sphere, const CMesh& mesh) {
    state.counters["cells"] = static_cast<double>(sphere.vBundles.size());
    state.counters["triangles"] = mesh.getNumTriangles();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void planVoro() {
    planProgress("bench", {{"VO_ftx", 1}, {"VO_amb", 1}});
}

void corners(benchmark::State& state) {
    const Sphere sphere(static_cast<int>(state.range(0)));
    std::vector<uint64> vCCD;
    sphere.cells.appendCells(vCCD);
    int64 numCorners = 0;
    for (auto _ : state) {
        CornerCells cornerCells;
        cornerCells.build(vCCD, sphere.calc);
        for (std::size_t i = 0; i < cornerCells.getNumBlocks(); ++i) {
            const CornerCells::CornerBlock block(cornerCells, i, false);
            for (unsigned corner = 0; corner < CornerCells::blockSize; ++corner)
                numCorners += block.getConfig(corner) != 0;
        }
    }
    state.SetItemsProcessed(numCorners);
}
BENCHMARK(corners)->Arg(150)->Unit(benchmark::kMillisecond)->Iterations(5);

void firstMesh(benchmark::State& state) {
    Sphere sphere(static_cast<int>(state.range(0)));
    std::unique_ptr<CMesh> pMesh;
    for (auto _ : state) {
        planVoro();
        pMesh.reset();
        Voro voro(&sphere.calc, &sphere.cells, TM_FAT);
        voro.fatExtractTriangles();
        pMesh = voro.releaseMesh();
    }
    report(state, sphere, *pMesh);
}
BENCHMARK(firstMesh)->Arg(150)->Arg(300)->Unit(benchmark::kMillisecond)->Iterations(2);

// With the corners of every hundredth triangle.
void borderFix(benchmark::State& state) {
    Sphere sphere(static_cast<int>(state.range(0)));
    planVoro();
    Voro voro(&sphere.calc, &sphere.cells, TM_FAT);
    voro.fatExtractTriangles();
    for (auto _ : state) {
        planVoro();
        std::vector<uint64> vVCD;
        for (std::uint32_t i = 0; i < voro.getCMesh()->getNumTriangles(); i += 100) {
            vVCD.push_back(voro.getCMesh()->getTriangle(i)->vcd);
        }
        voro.borderFix(vVCD);
    }
    report(state, sphere, *voro.getCMesh());
}
BENCHMARK(borderFix)->Arg(150)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
