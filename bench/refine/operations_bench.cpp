// The operations on a finished mesh.
// Input: a torus of 1000 x 500 vertices, with one million triangles row after
// row, its vertices moved at random by a tenth of an edge (seed 1).
// items_per_second counts triangles of the input.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "simplify/reduceTo.h"
#include "smooth/smoothing.h"
#include "zef/refinement.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::uint32_t numAround = 1000, numTube = 500;
constexpr double edgeLength = 0.0125;

std::unique_ptr<RMesh> noisyTorus() {
    std::vector<Point3> vPoints;
    std::vector<std::uint32_t> vTriples;
    Rand15 rand;
    const auto jitter = [&] { return 0.1 * edgeLength * (rand.next() / 16383.5 - 1.0); };
    for (std::uint32_t t = 0; t < numTube; ++t) {
        for (std::uint32_t a = 0; a < numAround; ++a) {
            const double u = 2.0 * M_PI * a / numAround, v = 2.0 * M_PI * t / numTube;
            const double distance = 2.5 + std::cos(v), dx = jitter(), dy = jitter(), dz = jitter();
            vPoints.emplace_back(distance * std::cos(u) + dx, distance * std::sin(u) + dy, std::sin(v) + dz);
            const std::uint32_t row = t * numAround, rowNext = (t + 1) % numTube * numAround,
                                aNext = (a + 1) % numAround;
            for (const std::uint32_t i : {row + a, row + aNext, rowNext + aNext, row + a, rowNext + aNext, rowNext + a})
                vTriples.push_back(i);
        }
    }
    return std::make_unique<RMesh>(std::move(vPoints), vTriples, edgeLength);
}

template <class Fn>
void onMesh(benchmark::State& state, Fn&& fn) {
    for (auto _ : state) {
        state.PauseTiming();
        planProgress("bench", {{"RM_kdeg", 1.0},
                               {"RM_gEfCandMT", 1.0},
                               {"efLoop", 1.0},
                               {"RM_redborder", 1.0},
                               {"RM_redprioq", 1.0},
                               {"RM_redprocprioq", 1.0},
                               {"RM_smooth", 1.0},
                               {"RM_rtscore", 1.0},
                               {"RM_rtloop", 1.0},
                               {"RM_rtmeas", 1.0}});
        for (const double temperature : RMesh::getAnnealingSchedule())
            getProgress()->createChild(RMesh::getCandidateStage(temperature), 1.0);
        auto pMesh = noisyTorus();
        state.ResumeTiming();
        fn(*pMesh);
        state.PauseTiming();
        state.counters["left"] = static_cast<double>(pMesh->getNumLiveTriangles());
        state.counters["records"] = pMesh->getNumTriangles();
        state.counters["edges"] = pMesh->getNumEdges();
        pMesh.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 2 * numAround * numTube);
}

void edgeFlips(benchmark::State& state) {
    onMesh(state, [](RMesh& mesh) { mesh.edgeFlips(); });
}
void edgeFlipsSimA(benchmark::State& state) {
    onMesh(state, [](RMesh& mesh) { mesh.edgeFlipsSimA(); });
}
// Degrees that one collapse may turn a triangle: "left" tells what remains.
void reduce(benchmark::State& state) {
    onMesh(state, [&](RMesh& mesh) { mesh.reduce(1.0, static_cast<double>(state.range(0))); });
}
// To a tenth, measured.
void reduceToTarget(benchmark::State& state) {
    onMesh(state, [](RMesh& mesh) {
        TriangleMesh flat = flatten(mesh, VertexOrder::MESH);
        ReduceOptions options;
        options.targetTriangles = flat.numTriangles() / 10;
        benchmark::DoNotOptimize(reduceTo(flat, options));
    });
}
// By number of steps.
void smooth(benchmark::State& state) {
    onMesh(state, [&](RMesh& mesh) {
        SmoothingOptions options;
        options.steps = static_cast<int>(state.range(0));
        state.PauseTiming();
        TriangleMesh flat = flatten(mesh, VertexOrder::MESH);
        state.ResumeTiming();
        laplacianSmoothing(flat, options);
    });
}

}  // namespace

BENCHMARK(edgeFlips)->Unit(benchmark::kMillisecond);
BENCHMARK(edgeFlipsSimA)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(reduce)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(reduceToTarget)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(smooth)->Arg(1)->Arg(11)->Unit(benchmark::kMillisecond);
