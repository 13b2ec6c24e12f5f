#include "page/nearness.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "frame/Run.h"
#include "page/Rounding.h"
#include "parallel/parallelTransform.h"
#include "simplify/TriangleTree.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

// The distances of some points, one after the other.
class Walk {
public:
    Walk(const FanSurface& surface_, const std::vector<Point3>& vPoints_, std::size_t begin, std::size_t end_)
        : surface(surface_), vPoints(vPoints_), tree(surface_), next(begin), end(end_) {}

    bool isOver() const { return next == end; }
    void go(std::size_t numPoints, std::vector<float>& vDistances) {
        for (const std::size_t stop = next + std::min(numPoints, end - next); next < stop; ++next) {
            findNext();
            vDistances[next] = static_cast<float>(std::sqrt(foot.sqDistance));
        }
    }

private:
    const FanSurface& surface;
    const std::vector<Point3>& vPoints;
    TriangleTree tree;  // for one thread
    Foot foot;
    std::size_t next, end;

    void findNext() {
        const Vector3 p(vPoints[next].px, vPoints[next].py, vPoints[next].pz);
        const std::uint32_t last = foot.triangle;
        const bool bFound = std::isfinite(foot.sqDistance);
        foot = {};
        // The triangle next to the last point is near to this one.
        if (bFound) {
            findFoot(p, surface.corner(last, 0), surface.corner(last, 1), surface.corner(last, 2), foot);
            foot.triangle = last;
        }
        tree.findCloser(p, foot);
    }
};

}  // namespace

// The distances are exact, so that the cuts between walks do not show. Walks go in turns, so
// that the call can be cancelled between two.
std::vector<float> distancesTo(const TriangleMesh& mesh, const std::vector<Point3>& vPoints) {
    constexpr std::size_t minChunk = 20000, pointsPerTurn = 4096;
    const FanSurface surface(mesh);
    // As many as threads, since all of them have a tree at the same time.
    const std::size_t share = vPoints.size() / getLoopThreads(vPoints.size()) + 1;
    const std::vector<std::size_t> vBounds = getChunkBounds(vPoints.size(), std::max(minChunk, share));
    std::vector<std::unique_ptr<Walk>> vWalks;
    for (std::size_t i = 1; i < vBounds.size(); ++i)
        vWalks.push_back(std::make_unique<Walk>(surface, vPoints, vBounds[i - 1], vBounds[i]));
    std::vector<float> vDistances(vPoints.size());
    while (!std::all_of(vWalks.begin(), vWalks.end(), [](const auto& pWalk) { return pWalk->isOver(); })) {
        pollRun(0);
        parallelForEach(vWalks, [&](const auto& pWalk) { pWalk->go(pointsPerTurn, vDistances); });
    }
    return vDistances;
}

namespace {

// Cells of a grid by three whole numbers of 21 bits.
struct CellGrid {
    Point3 low;
    double width;

    uint64 codeOf(const Point3& p, int dx, int dy, int dz) const {
        const auto cell = [&](double coord, double start, int step) {
            return static_cast<uint64>(static_cast<std::int64_t>((coord - start) / width) + step + 1);
        };
        return cell(p.px, low.px, dx) << 42 | cell(p.py, low.py, dy) << 21 | cell(p.pz, low.pz, dz);
    }
};

bool isAnyAround(const CodeMap& cells, const CellGrid& grid, const Point3& p) {
    if (cells.find(grid.codeOf(p, 0, 0, 0)) != CodeMap::npos) return true;
    for (int dx = -1; dx <= 1; ++dx)
        for (int dy = -1; dy <= 1; ++dy)
            for (int dz = -1; dz <= 1; ++dz)
                if (cells.find(grid.codeOf(p, dx, dy, dz)) != CodeMap::npos) return true;
    return false;
}

}  // namespace

std::vector<std::uint8_t> findUnmeasured(const TriangleMesh& mesh, std::span<const Point3> points, double reach) {
    constexpr double mostCells = 2e6;
    std::vector<std::uint8_t> vUnmeasured(mesh.vertices.size());
    PageBox box;
    for (const Point3& p : mesh.vertices)
        if (isFinite(p)) box.add(p);
    for (const Point3& p : points)
        if (isFinite(p)) box.add(p);
    if (points.empty() || !(reach > 0.0) || !(box.extent() / reach < mostCells)) return vUnmeasured;
    const CellGrid grid{Point3(box.low[0], box.low[1], box.low[2]), reach};
    CodeMap cells;
    for (std::size_t i = 0; i < points.size(); ++i) {
        pollRun(i);
        if (isFinite(points[i])) cells.insert(grid.codeOf(points[i], 0, 0, 0), 0);
    }
    parallelChunks(vUnmeasured.size(), 20000, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vUnmeasured[i] = isFinite(mesh.vertices[i]) && !isAnyAround(cells, grid, mesh.vertices[i]);
    });
    return vUnmeasured;
}

}  // namespace QUOR_ZEF
