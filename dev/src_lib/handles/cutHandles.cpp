#include "handles/cutHandles.h"

#include <algorithm>
#include <utility>

#include "check/selfIntersections.h"
#include "flat/triangleSides.h"
#include "frame/Progress.h"
#include "geometry/PlaceIndex.h"
#include "handles/HandleSurgery.h"
#include "handles/heldOpen.h"
#include "handles/shortLoops.h"

namespace QUOR_ZEF {

namespace {

using Sides = std::vector<std::uint32_t>;

// More handles than that are too many to be told apart by the bits of their classes.
constexpr std::size_t mostInRound = 48;
constexpr int mostRounds = 20;
constexpr std::ptrdiff_t mostOfClass = 3;  // loops to try where one cannot be cut cleanly

// Classes of which none is the sum of others.
class ClassBasis {
public:
    // False, and no change, if the class is such a sum.
    bool add(uint64 loopClass) {
        for (const uint64 known : vKnown) loopClass = std::min(loopClass, loopClass ^ known);
        if (loopClass == 0) return false;
        vKnown.push_back(loopClass);
        return true;
    }
    bool isFull() const { return vKnown.size() >= mostInRound; }

private:
    std::vector<uint64> vKnown;  // the highest bit of one is in none that came later
};

// A mesh that loses its handles, in rounds: loops of one round have no vertex in common, so that cutting one leaves the
// others as they are.
class HandleRounds {
public:
    explicit HandleRounds(TriangleMesh& mesh_)
        : mesh(mesh_), vOpposite(findOpposites(mesh)), surgery(mesh, vOpposite) {}

    // Looks for loops, and returns whether there are any. Loops that stayed once are never found again.
    bool begin(double longest) {
        const LoopClasses classes(mesh, vOpposite);
        numHandles = classes.numHandles();
        vLoops.clear();
        if (numHandles == 0) return false;
        vKept.resize(mesh.vertices.size());
        std::vector<bool> vTaken = vKept;
        std::vector<uint64> vKnown;
        for (HandleLoop& loop : findShortLoops(mesh, vOpposite, classes, longest)) {
            if (std::ranges::any_of(loop.vSides, [&](std::uint32_t side) { return vTaken[mesh.indices[side]]; }))
                continue;
            if (std::ranges::count(vKnown, loop.loopClass) >= mostOfClass) continue;
            vKnown.push_back(loop.loopClass);
            mark(loop, vTaken);
            vLoops.push_back(std::move(loop));
        }
        return !vLoops.empty();
    }

    // Calls cutOne(i) for the loops that still part nothing; it returns whether it has cut the mesh there.
    template <class CutOne>
    void finish(const CutOne& cutOne) {
        ClassBasis basis;
        for (std::size_t i = 0; i < vLoops.size() && !basis.isFull(); ++i) {
            ClassBasis extended = basis;
            if (!extended.add(vLoops[i].loopClass)) continue;
            if (cutOne(i))
                basis = std::move(extended);
            else
                mark(vLoops[i], vKept);
        }
    }

    TriangleMesh& mesh;
    std::size_t numHandles = 0;
    std::vector<HandleLoop> vLoops;  // the shortest first
    Sides vOpposite;
    HandleSurgery surgery;

private:
    std::vector<bool> vKept;  // by vertex: on a loop that stays

    void mark(const HandleLoop& loop, std::vector<bool>& vMarked) const {
        for (const std::uint32_t side : loop.vSides) vMarked[mesh.indices[side]] = true;
    }
};

// What lies around loops.
struct Surroundings {
    std::vector<Sides> vTriangles;  // by loop
    std::vector<std::vector<Point3>> vPoints;

    // radius: from the middles of loops to what is farthest.
    Surroundings(const TriangleMesh& mesh, const PointSource& points, const std::vector<HandleLoop>& vLoops,
                 double radius)
        : vTriangles(vLoops.size()), vPoints(vLoops.size()) {
        std::vector<Point3> vMiddles;
        std::vector<std::uint32_t> vAll;
        for (const HandleLoop& loop : vLoops) {
            vAll.push_back(static_cast<std::uint32_t>(vMiddles.size()));
            vMiddles.push_back(middleOf(placesOf(mesh, loop.vSides)));
        }
        const PlaceIndex index(vMiddles, vAll, radius);
        const auto forEachNear = [&](const Point3& p, const auto& fn) {
            index.visit(p, p, [&](std::uint32_t i) {
                if ((p - vMiddles[i]).length() <= radius) fn(i);
            });
        };
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t)
            forEachNear(mesh.vertices[mesh.indices[3 * std::size_t{t}]],
                        [&](std::uint32_t i) { vTriangles[i].push_back(t); });
        for (std::size_t k = 0; k < points.size(); ++k) {
            const Point3 p = points[k];
            forEachNear(p, [&](std::uint32_t i) { vPoints[i].push_back(p); });
        }
    }
};

// Of these triangles, and of all from a number on.
std::size_t countPairs(const TriangleMesh& mesh, Sides vTriangles, std::size_t firstNew) {
    for (std::size_t t = firstNew; t < mesh.numTriangles(); ++t) vTriangles.push_back(static_cast<std::uint32_t>(t));
    TriangleMesh local;
    for (const std::uint32_t t : vTriangles)
        for (std::size_t i = 0; i < 3; ++i) local.indices.push_back(mesh.indices[3 * std::size_t{t} + i]);
    Sides vUsed = local.indices;
    std::ranges::sort(vUsed);
    vUsed.erase(std::unique(vUsed.begin(), vUsed.end()), vUsed.end());
    for (std::uint32_t& index : local.indices)
        index = static_cast<std::uint32_t>(std::ranges::lower_bound(vUsed, index) - vUsed.begin());
    for (const std::uint32_t vertex : vUsed) local.vertices.push_back(mesh.vertices[vertex]);
    return findIntersectingPairs(local).size();
}

// False, and no change, if more triangles would intersect.
template <class CountPairs>
bool cutCleanly(HandleSurgery& surgery, const Sides& vLoop, double cellSize, const CountPairs& countPairsThere) {
    const std::size_t numPairs = countPairsThere();
    for (const double share : {0.3, 0.15, 0.5}) {
        surgery.cut(vLoop, share, 0.5 * cellSize);
        if (countPairsThere() <= numPairs) return true;
        surgery.undo();
    }
    return false;
}

}  // namespace

std::size_t cutHandles(TriangleMesh& mesh, const PointSource& points, double cellSize, double longest) {
    OptionalStage stage("HD_cut", mostRounds);
    HandleRounds rounds(mesh);
    std::size_t numCut = 0;
    bool bAgain = true;
    for (int round = 0; round < mostRounds && bAgain && rounds.begin(longest); ++round) {
        // No loop reaches farther from its middle than half its length.
        const Surroundings around(mesh, points, rounds.vLoops, 0.5 * longest + 2.0 * cellSize);
        const std::size_t numBefore = numCut, firstNew = mesh.numTriangles();
        rounds.finish([&](std::size_t i) {
            const HandleLoop& loop = rounds.vLoops[i];
            if (isHeldOpen(placesOf(mesh, loop.vSides), around.vPoints[i], cellSize)) return false;
            const auto countHere = [&] { return countPairs(mesh, around.vTriangles[i], firstNew); };
            if (!cutCleanly(rounds.surgery, loop.vSides, cellSize, countHere)) return false;
            ++numCut;
            return true;
        });
        bAgain = numCut > numBefore;
        stage.tick();
    }
    stage.finish();
    return numCut;
}

HandleReport measureHandles(const TriangleMesh& mesh, double longest) {
    OptionalStage stage("HD_find", mostRounds);
    HandleReport report;
    TriangleMesh cut = mesh;
    HandleRounds rounds(cut);
    for (int round = 0; round < mostRounds && (rounds.begin(longest) || round == 0); ++round) {
        if (round == 0) report.numHandles = rounds.numHandles;
        rounds.finish([&](std::size_t i) {
            const HandleLoop& loop = rounds.vLoops[i];
            report.shortHandles.push_back({loop.length, middleOf(placesOf(cut, loop.vSides))});
            rounds.surgery.cut(loop.vSides, 0.0, 0.0);
            return true;
        });
        stage.tick();
    }
    stage.finish();
    std::ranges::stable_sort(report.shortHandles, {}, &MeshHandle::length);
    return report;
}

}  // namespace QUOR_ZEF
