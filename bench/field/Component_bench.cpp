// Labelling the sides of one piece. Input by kind:
//   shell  a sphere one cell thick, with round holes of 10 cells radius over a tenth of it
//   noise  a square sheet of columns of cells, four heights each with a deviation of
//          half a cell, not thinned: holes and handles everywhere
//   wires  a square of wires 8 cells apart, two by two cells thick
// Arg: the number of cells, roughly. Seed 1, samples near the centres of their cells.
// items_per_second counts cells.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "field/Component.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"

using namespace QUOR_ZEF;

namespace {

using Cells = std::vector<uint64>;

uint64 cellAt(int x, int y, int z) {
    return packRCD(static_cast<uint64>(x), static_cast<uint64>(y), static_cast<uint64>(z));
}

// Unit vectors, ascending by x.
std::vector<Point3> randomDirections(std::size_t num) {
    std::mt19937 random(1);
    std::normal_distribution<> gauss;
    std::vector<Point3> v(num);
    for (Point3& p : v) p = Point3() + normalize(Vector3(gauss(random), gauss(random), gauss(random)));
    std::sort(v.begin(), v.end());
    return v;
}

Cells shell(double numCells) {
    constexpr double holeRadius = 10.0;
    const int radius = static_cast<int>(std::sqrt(numCells * 0.9 / (1.5 * 4 * M_PI)));
    const double numHoles = 0.1 * 4 * radius * radius / (holeRadius * holeRadius);
    const std::vector<Point3> vHoles = randomDirections(static_cast<std::size_t>(numHoles));
    const double reach = holeRadius / radius;
    const auto inHole = [&](const Point3& p) {
        for (auto it = std::lower_bound(vHoles.begin(), vHoles.end(), Point3(p.px - reach, -2, -2));
             it != vHoles.end() && it->px < p.px + reach; ++it) {
            if ((*it - p).length() < reach) return true;
        }
        return false;
    };
    Cells v;
    for (int x = -radius; x <= radius; ++x) {
        for (int y = -radius; y <= radius; ++y) {
            for (int z = -radius; z <= radius; ++z) {
                const double inner = (radius - 0.6) * (radius - 0.6) - x * x - y * y;
                if (inner > 0 && z * z < inner) z = std::max(z, static_cast<int>(std::sqrt(inner)));
                const double length = std::sqrt(double(x * x + y * y + z * z));
                if (std::lround(length) != radius) continue;
                if (!inHole(Point3(x / length, y / length, z / length)))
                    v.push_back(cellAt(2000 + x, 2000 + y, 2000 + z));
            }
        }
    }
    return v;
}

Cells noise(double numCells) {
    std::mt19937 random(1);
    std::normal_distribution<> height(2000.5, 0.5);
    std::set<uint64> s;
    const int side = static_cast<int>(std::sqrt(numCells / 1.9));
    for (int x = 0; x < side; ++x) {
        for (int y = 0; y < side; ++y) {
            for (int k = 0; k < 4; ++k) s.insert(cellAt(100 + x, 100 + y, static_cast<int>(height(random))));
        }
    }
    return {s.begin(), s.end()};
}

Cells wires(double numCells) {
    Cells v;
    const int side = static_cast<int>(std::sqrt(numCells * 64 / 56));
    for (int x = 0; x < side; ++x) {
        for (int y = 0; y < side; ++y) {
            if (x % 8 > 1 && y % 8 > 1) continue;
            v.push_back(cellAt(100 + x, 100 + y, 100));
            v.push_back(cellAt(100 + x, 100 + y, 101));
        }
    }
    return v;
}

Component::CodePoints samplesOf(const Cells& vCells) {
    std::mt19937 random(1);
    std::uniform_real_distribution<> inside(0.3, 0.7);
    Component::CodePoints vSamples;
    for (const uint64 rcd : vCells) {
        const auto [x, y, z] = unpackRCD(rcd);
        const double dx = inside(random), dy = inside(random), dz = inside(random);
        vSamples.emplace_back(rcd, Point3(double(x) + dx, double(y) + dy, double(z) + dz));
    }
    return vSamples;
}

// Thins the cells as a cloud does before its gaps are closed.
Cells thinned(const Cells& vCells, const Component::CodePoints& vSamples, const Calc& calc) {
    RemoveDecider_RCD decider(&vCells, &calc);
    Cells vKept, vDoomed;
    decider.pruneLayered(vSamples, vCells, vKept, vDoomed, false, true, true);
    return vKept;
}

Cells largestPiece(const Cells& vCells) {
    std::vector<Cells> vPieces;
    createCC_RCD(vCells, vPieces);
    return *std::max_element(vPieces.begin(), vPieces.end(), [](auto& a, auto& b) { return a.size() < b.size(); });
}

template <Cells (*makeCells)(double)>
void labelSides(benchmark::State& state) {
    const double size = 4096;
    const Calc calc(0, 0, 0, size, size, size, 12);
    Cells vCells = makeCells(static_cast<double>(state.range(0)));
    const Component::CodePoints vSamples = samplesOf(vCells);
    vCells = largestPiece(thinned(vCells, vSamples, calc));
    Cells vArea, vBorder;
    RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
    std::size_t numSide = 0, numFacets = 0;
    for (auto _ : state) {
        const Component component(vCells, vBorder, &vSamples, &calc);
        const auto& v = component.vVisibleFacets;
        numFacets = v.size();
        numSide = static_cast<std::size_t>(std::count_if(v.begin(), v.end(), [](auto& f) { return f.component >= 0; }));
    }
    state.counters["cells"] = static_cast<double>(vCells.size());
    state.counters["border"] = static_cast<double>(vBorder.size());
    state.counters["facets"] = static_cast<double>(numFacets);
    state.counters["labelled"] = static_cast<double>(numSide);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(vCells.size()));
}

#define ZEF_SIZES Arg(50000)->Arg(200000)->Arg(1000000)->Arg(3000000)->Unit(benchmark::kMillisecond)
BENCHMARK(labelSides<shell>)->ZEF_SIZES;
BENCHMARK(labelSides<noise>)->ZEF_SIZES;
BENCHMARK(labelSides<wires>)->ZEF_SIZES;

}  // namespace

BENCHMARK_MAIN();
