#include "api/thinParts.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "check/surfaceFit.h"
#include "density/PointGrid.h"
#include "density/ThinSheets.h"
#include "flat/edgeLists.h"
#include "geometry/PlaceIndex.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr double off = 0.4;  // cells; two sheets of a cell and more that became one in their middle are farther
constexpr double fewestOff = 0.005;

std::vector<std::size_t> findOff(const PointSource& points, const TriangleMesh& mesh, const Calc& calc) {
    return findFarPoints(points, mesh, calc.getCellSize(), off * calc.getCellSize());
}

// The points around some of these, evenly chosen.
std::vector<Point3> gatherAround(const PointSource& points, const std::vector<std::size_t>& vWhich, double radius) {
    constexpr std::size_t maxPlaces = 12, minChunk = 50'000;
    std::vector<Point3> vPlaces;
    std::vector<std::uint32_t> vNumbers;
    for (std::size_t i = 0; i < std::min(maxPlaces, vWhich.size()); ++i) {
        vPlaces.push_back(points[vWhich[i * vWhich.size() / std::min(maxPlaces, vWhich.size())]]);
        vNumbers.push_back(static_cast<std::uint32_t>(i));
    }
    const PlaceIndex around(vPlaces, vNumbers, radius);
    const auto vParts =
        parallelChunkResults<std::vector<Point3>>(points.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<Point3> vPart;
            for (std::size_t i = begin; i < end; ++i) {
                const Point3 p = points[i];
                bool bNear = false;
                around.visit(p, p,
                             [&](std::uint32_t k) { bNear = bNear || (p - vPlaces[k]).sqLength() < radius * radius; });
                if (bNear) vPart.push_back(p);
            }
            return vPart;
        });
    std::vector<Point3> vAround;
    for (const auto& vPart : vParts) vAround.insert(vAround.end(), vPart.begin(), vPart.end());
    return vAround;
}

}  // namespace

PointFit measureFitOf(const PointSource& points, const TriangleMesh& mesh, const Calc& calc) {
    PointFit fit;
    fit.numFar = findOff(points, mesh, calc).size();
    fit.numAsked = getNumAsked(points);
    fit.numBorderEdges = findBorderEdges(mesh).size();
    return fit;
}

bool PointFit::isWorseThan(const PointFit& other, std::size_t numPoints) const {
    constexpr double pointsPerEdge = 10.0;
    constexpr double mostGrowth = 2.5;  // the border of a sheet is that of two afterwards; more is torn
    if (other.numFar >= numFar) return false;
    if (static_cast<double>(other.numBorderEdges) > mostGrowth * static_cast<double>(numBorderEdges)) return false;
    const double gain = static_cast<double>(numFar - other.numFar) / static_cast<double>(numAsked);
    const double cost = static_cast<double>(other.numBorderEdges) - static_cast<double>(numBorderEdges);
    return gain * static_cast<double>(numPoints) >= pointsPerEdge * cost;
}

bool hasThinParts(const PointSource& points, const TriangleMesh& mesh, const Calc& calc) {
    constexpr double reach = 6.0;       // cells
    constexpr double fewestThin = 0.1;  // of the points around; where noise looks like two sheets it is a hundredth
    const std::vector<std::size_t> vOff = findOff(points, mesh, calc);
    if (static_cast<double>(vOff.size()) < fewestOff * static_cast<double>(getNumAsked(points))) return false;
    const std::vector<Point3> vAround = gatherAround(points, vOff, reach * calc.getCellSize());
    const PointGrid grid(vAround, calc);
    return static_cast<double>(ThinSheets(grid).getNumThin()) > fewestThin * static_cast<double>(grid.size());
}

}  // namespace QUOR_ZEF
