// The cell-coded mesh on a wavy height field of n x n cells, about 2 n^2
// triangles, made quad by quad in the order of the cells' codes, which is the
// order of extraction. No random input. Reported per triangle.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <vector>

#include "grid/Calc.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;

namespace {

struct Field {
    Calc calc{0.0, 0.0, 0.0, 65536.0, 65536.0, 65536.0, 16};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    std::vector<uint64> vT;  // cells, three a triangle
    CellMap cells;

    explicit Field(int n) {
        const auto side = static_cast<std::size_t>(n);
        std::vector<uint64> vCCD(side * side);
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
                const double z = 6000.0 + 300.0 * std::sin(x * 0.004) * std::cos(y * 0.005);
                vPoints.emplace_back(6000.5 + x, 6000.5 + y, std::floor(z) + 0.5);
                vCCD[static_cast<std::size_t>(y) * side + static_cast<std::size_t>(x)] = calc.getCCD(vPoints.back());
            }
        std::vector<std::size_t> vOrder(vCCD.size());
        for (std::size_t i = 0; i < vOrder.size(); ++i) vOrder[i] = i;
        std::sort(vOrder.begin(), vOrder.end(), [&](std::size_t a, std::size_t b) { return vCCD[a] < vCCD[b]; });
        for (const std::size_t i : vOrder) vBundles.push_back({&vPoints[i], vCCD[i]});
        for (const std::size_t i : vOrder) {
            if (i % side + 1 == side || i / side + 1 == side) continue;
            const uint64 a = vCCD[i], b = vCCD[i + 1], c = vCCD[i + side + 1], d = vCCD[i + side];
            vT.insert(vT.end(), {a, b, c, a, c, d});
        }
        std::vector<Bundle*> vPointers;
        for (Bundle& bundle : vBundles) vPointers.push_back(&bundle);
        cells.build(vPointers);
    }
    int numTriangles() const { return static_cast<int>(vT.size() / 3); }
    void fill(CMesh& mesh) const {
        for (std::size_t i = 0; i < vT.size(); i += 3) mesh.createT(vT[i], vT[i + 1], vT[i + 2], 0, 0);
    }
};

double residentBytes() {
    std::ifstream statm("/proc/self/statm");
    double total = 0.0, resident = 0.0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void perTriangle(benchmark::State& state, int num) {
    state.counters["triangles"] = num;
    state.SetItemsProcessed(state.iterations() * num);
}

void build(benchmark::State& state) {
    const Field field(static_cast<int>(state.range(0)));
    double bytes = 0.0;
    for (auto _ : state) {
        const double before = residentBytes();
        CMesh mesh(nullptr, const_cast<Calc*>(&field.calc), const_cast<CellMap*>(&field.cells));
        field.fill(mesh);
        bytes = std::max(bytes, residentBytes() - before);  // later rounds find memory that the first one freed
    }
    perTriangle(state, field.numTriangles());
    state.counters["bytes_per_triangle"] = bytes / field.numTriangles();
}
BENCHMARK(build)->Arg(500)->Arg(1582)->Unit(benchmark::kMillisecond)->Iterations(3);

void refill(benchmark::State& state) {
    Field field(static_cast<int>(state.range(0)));
    CMesh mesh(nullptr, &field.calc, &field.cells);
    field.fill(mesh);
    for (auto _ : state) {
        mesh.clear();
        field.fill(mesh);
    }
    perTriangle(state, field.numTriangles());
}
BENCHMARK(refill)->Arg(1582)->Unit(benchmark::kMillisecond)->Iterations(3);

template <class Fn>
void onMesh(benchmark::State& state, Fn&& fn) {
    Field field(static_cast<int>(state.range(0)));
    CMesh mesh(nullptr, &field.calc, &field.cells);
    field.fill(mesh);
    for (auto _ : state) benchmark::DoNotOptimize(fn(field, mesh));
    perTriangle(state, field.numTriangles());
}

void walkFans(benchmark::State& state) {
    onMesh(state, [](const Field& field, const CMesh& mesh) {
        std::size_t sum = 0;
        for (const Bundle& bundle : field.vBundles)
            for (const std::uint32_t number : mesh.getFan(bundle.ccd)) sum += number;
        return sum;
    });
}
BENCHMARK(walkFans)->Arg(708)->Unit(benchmark::kMillisecond);

void getEdge(benchmark::State& state) {
    onMesh(state, [](const Field& field, const CMesh& mesh) {
        std::size_t sum = 0;
        for (std::size_t i = 0; i < field.vT.size(); i += 3)
            sum += mesh.getEdge(field.vT[i], field.vT[i + 1])->getNumber();
        return sum;
    });
}
BENCHMARK(getEdge)->Arg(1582)->Unit(benchmark::kMillisecond);

void listEdges(benchmark::State& state) {
    onMesh(state, [](const Field&, const CMesh& mesh) {
        std::vector<CEdge*> vEdges;
        mesh.getAllEdges(vEdges);
        return vEdges.size();
    });
}
BENCHMARK(listEdges)->Arg(1582)->Unit(benchmark::kMillisecond);

void killDuplicates(benchmark::State& state) {
    onMesh(state, [](const Field&, CMesh& mesh) { return mesh.killDuplicateTriangles(); });
}
BENCHMARK(killDuplicates)->Arg(1582)->Unit(benchmark::kMillisecond);

void createPatches(benchmark::State& state) {
    onMesh(state, [](const Field&, CMesh& mesh) {
        std::vector<CPatch*> vPatches;
        std::map<uint64, CPatch*> mThird;
        std::vector<CEdge*> vFanEdges;
        mesh.createPatches(nullptr, vPatches, mThird, vFanEdges);
        return vPatches.size();
    });
}
BENCHMARK(createPatches)->Arg(1582)->Unit(benchmark::kMillisecond);

}  // namespace
