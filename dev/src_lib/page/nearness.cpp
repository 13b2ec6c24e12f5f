#include "page/nearness.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "frame/Run.h"
#include "page/Rounding.h"
#include "parallel/parallelTransform.h"
#include "simplify/NearestFeet.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

std::vector<float> distancesTo(const TriangleMesh& mesh, const std::vector<Point3>& vPoints) {
    if (mesh.indices.empty()) return std::vector<float>(vPoints.size(), std::numeric_limits<float>::infinity());
    constexpr std::size_t batchSize = 50'000;  // points between two chances to cancel
    const FanSurface surface(mesh);
    const NearestFeet nearest(surface);
    std::vector<Foot> vFeet(std::min(batchSize, vPoints.size()));
    std::vector<float> vDistances;
    vDistances.reserve(vPoints.size());
    for (std::size_t begin = 0; begin < vPoints.size(); begin += batchSize) {
        pollRun(0);
        const std::size_t num = std::min(batchSize, vPoints.size() - begin);
        nearest.find(std::span(vPoints).subspan(begin, num), std::span(vFeet).first(num));
        for (std::size_t i = 0; i < num; ++i) vDistances.push_back(static_cast<float>(std::sqrt(vFeet[i].sqDistance)));
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
