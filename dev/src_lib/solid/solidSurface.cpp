#include "solid/solidSurface.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "frame/tools.h"
#include "parallel/sortMT.h"
#include "solid/SolidMesher.h"
#include "solid/crossings.h"
#include "solid/wellComposed.h"

namespace QUOR_ZEF {

namespace {

// Cells, for what is added around.
constexpr double margin = 6.0;
// Lattice points lie beside the corners of cells by little, so that none is on a face that runs along with the
// grid, as those do that begin where the triangles do.
constexpr std::array<double, 3> shift{0x1p-10, 0x1.8p-11, 0x1.4p-11};

struct Lattice {
    LatticePoint offset;
    LatticeBox box;
    std::vector<Point3> vPlaces;  // vertices
};

Lattice layLattice(const TriangleMesh& triangles, const SampleIndex& samples) {
    std::array<double, 3> low, high;
    low.fill(std::numeric_limits<double>::max());
    high.fill(std::numeric_limits<double>::lowest());
    const Point3& o = samples.origin;
    const auto inCells = [&](const Point3& p) {
        return std::array{(p.px - o.px) / samples.cellSize, (p.py - o.py) / samples.cellSize,
                          (p.pz - o.pz) / samples.cellSize};
    };
    for (const std::uint32_t vertex : triangles.indices) {
        const std::array<double, 3> at = inCells(triangles.vertices[vertex]);
        for (std::size_t i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], at[i]);
            high[i] = std::max(high[i], at[i]);
        }
    }
    std::array<std::int32_t, 3> first, num;
    for (std::size_t i = 0; i < 3; ++i) {
        first[i] = static_cast<std::int32_t>(std::floor(low[i] - margin));
        num[i] = static_cast<std::int32_t>(std::ceil(high[i] + margin)) - first[i] + 1;
    }
    Lattice lattice{{first[0], first[1], first[2]}, {num[0], num[1], num[2]}, {}};
    lattice.vPlaces.reserve(triangles.vertices.size());
    for (const Point3& p : triangles.vertices) {
        const std::array<double, 3> at = inCells(p);
        lattice.vPlaces.emplace_back(at[0] - first[0] + shift[0], at[1] - first[1] + shift[1],
                                     at[2] - first[2] + shift[2]);
    }
    return lattice;
}

// A point of a row along an axis.
uint64 codeOnRow(const Crossing& crossing, double along, int axis) {
    const LatticePoint row = pointOf(crossing.behind);
    const auto x = static_cast<std::int32_t>(std::lround(along));
    if (axis == 0) return codeOf({x, row.y, row.z});
    return axis == 1 ? codeOf({row.z, x, row.y}) : codeOf({row.y, row.z, x});
}

class Solid {
public:
    Solid(const TriangleMesh& triangles_, Closedness closedness_, const SampleIndex& samples_,
          const SolidChoices& choices_)
        : triangles(triangles_),
          closedness(closedness_),
          samples(samples_),
          choices(choices_),
          lattice(layLattice(triangles, samples)) {}

    TriangleMesh make() {
        SolidMesher mesher(samples, lattice.offset, choices.bFloats);
        const bool bWalls = closedness == Closedness::WALLS;
        vAlongX = crossingsOf(0);
        LatticeSet inside = bWalls ? LatticeSet(lattice.box, [](auto...) {}) : pointsInside(1);
        inside.add(bWalls ? pointsAtWalls() : pointsInThinWalls());
        if (choices.bOuter || bWalls) inside.fillEnclosed();
        makeWellComposed(inside, Composing::ADD);
        mesher.addSurface(inside);
        for (int level = 2; !choices.bOuter && closedness == Closedness::ORIENTED && !inside.isEmpty(); ++level) {
            LatticeSet deeper = pointsInside(level);
            deeper.keepWithin(inside);
            makeWellComposed(deeper, Composing::REMOVE);
            mesher.addSurface(deeper);
            inside = std::move(deeper);
        }
        mesher.part();
        return std::move(mesher.mesh);
    }

private:
    const TriangleMesh& triangles;
    const Closedness closedness;
    const SampleIndex& samples;
    const SolidChoices choices;
    const Lattice lattice;
    std::vector<Crossing> vAlongX;

    std::vector<Crossing> crossingsOf(int axis) const {
        return findCrossings(lattice.vPlaces, triangles.indices, axis);
    }

    // After one more crossing.
    int windingAfter(int winding, const Crossing& crossing) const {
        return closedness == Closedness::ORIENTED ? winding + crossing.steps : 1 - winding;
    }

    LatticeSet pointsInside(int level) const {
        std::size_t next = 0;
        return LatticeSet(lattice.box, [&](std::int32_t y, std::int32_t z, std::vector<Stretch>& vRuns) {
            int winding = 0;
            const std::size_t numBefore = vRuns.size();
            for (const uint64 end = codeOf({0, y + 1, z}); next < vAlongX.size() && vAlongX[next].behind < end;
                 ++next) {
                const bool bBefore = std::abs(winding) >= level;
                winding = windingAfter(winding, vAlongX[next]);
                const bool bNow = std::abs(winding) >= level;
                if (bBefore == bNow) continue;
                const std::int32_t x = pointOf(vAlongX[next].behind).x;
                if (bNow && vRuns.size() > numBefore && vRuns.back().end == x) continue;
                if (bNow) vRuns.push_back({x, x});
                vRuns.back().end = x;
                if (!bNow && vRuns.back().begin == x) vRuns.pop_back();
            }
        });
    }

    // Those nearest to where a row is inside between two of its points.
    std::vector<uint64> pointsInThinWalls() const {
        std::vector<uint64> vPoints;
        for (int axis = 0; axis < 3; ++axis) {
            const std::vector<Crossing> vCrossings = axis == 0 ? vAlongX : crossingsOf(axis);
            const Crossing* pEntry = nullptr;
            int winding = 0;
            for (const Crossing& crossing : vCrossings) {
                const int before = winding;
                winding = windingAfter(winding, crossing);
                if (before == 0) pEntry = &crossing;
                if (winding == 0 && pEntry->behind == crossing.behind)
                    vPoints.push_back(codeOnRow(crossing, (pEntry->along + crossing.along) / 2.0, axis));
            }
        }
        return ascending(std::move(vPoints));
    }

    // Nothing gets through between them along a row or a column.
    std::vector<uint64> pointsAtWalls() const {
        std::vector<uint64> vPoints;
        for (int axis = 0; axis < 3; ++axis)
            for (const Crossing& crossing : axis == 0 ? vAlongX : crossingsOf(axis))
                vPoints.push_back(codeOnRow(crossing, crossing.along, axis));
        return ascending(std::move(vPoints));
    }

    static std::vector<uint64> ascending(std::vector<uint64> vPoints) {
        sortMT(vPoints.begin(), vPoints.end());
        return vPoints;
    }
};

}  // namespace

TriangleMesh makeSolidSurface(const TriangleMesh& triangles, Closedness closedness, const SampleIndex& samples,
                              const SolidChoices& choices) {
    ASSEX(closedness!=Closedness::OPEN);
    return Solid(triangles, closedness, samples, choices).make();
}

}  // namespace QUOR_ZEF
