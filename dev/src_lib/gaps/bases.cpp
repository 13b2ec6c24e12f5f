#include "gaps/bases.h"

#include <cmath>
#include <cstdint>
#include <optional>

#include "geometry/symmetricEigen.h"
#include "grid/CellBlocks.h"
#include "grid/codeSets.h"
#include "parallel/sortMT.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

namespace {

struct FlatRim {
    Point3 centre;
    Vector3 normal;

    double heightOf(const Point3& p) const { return (p - centre) * normal; }
    double radiusOf(const Point3& p) const { return (p - centre - normal * heightOf(p)).length(); }
};

// None if it is not flat.
std::optional<FlatRim> flatRimOf(const std::vector<RCDPoint>& vRim, double cell) {
    constexpr double maxThickness = 0.75;  // cells, standard deviation
    if (vRim.empty()) return {};
    const auto num = static_cast<double>(vRim.size());
    const Point3& first = vRim.front().second;
    Vector3 sum;
    for (const auto& [rcd, p] : vRim) sum += p - first;
    const Point3 centre = first + sum / num;
    ProductSums sums;
    for (const auto& [rcd, p] : vRim) sums.add(p - centre);
    const SymmetricEigen eigen = getEigen(sums);
    if (eigen.values[0] > maxThickness * cell * (maxThickness * cell) * num) return {};
    return FlatRim{centre, eigen.vectors[0]};
}

bool isAllOnOneSide(const std::vector<RCDPoint>& vOwn, const FlatRim& rim, double cell) {
    constexpr double tolerance = 2.0;  // cells
    bool bAbove = false, bBelow = false;
    for (const auto& [rcd, p] : vOwn) {
        const double height = rim.heightOf(p);
        bAbove = bAbove || height > tolerance * cell;
        bBelow = bBelow || height < -tolerance * cell;
        if (bAbove && bBelow) return false;
    }
    return true;
}

// Whether the surface comes in towards the rim farther than it comes down to it.
bool isBentIn(const std::vector<RCDPoint>& vRim, const std::vector<RCDPoint>& vRing, const FlatRim& rim) {
    const auto meanOf = [](const std::vector<RCDPoint>& vPoints, const auto& value) {
        double sum = 0.0;
        for (const auto& [rcd, p] : vPoints) sum += value(p);
        return sum / static_cast<double>(vPoints.size());
    };
    const auto radius = [&](const Point3& p) { return rim.radiusOf(p); };
    const auto height = [&](const Point3& p) { return rim.heightOf(p); };
    return meanOf(vRing, radius) - meanOf(vRim, radius) > std::abs(meanOf(vRing, height) - meanOf(vRim, height));
}

// own: the cells of vOwn.
bool isBase(const std::vector<uint64>& vPatch, const std::vector<RCDPoint>& vOwn, const CellBlocks_RCD& own,
            double cell) {
    constexpr int ringWidth = 3;
    const auto samplesIn = [&](const std::vector<uint64>& vCells) {
        std::vector<RCDPoint> v;
        for (const uint64 rcd : vCells) {
            const std::uint32_t index = own.indexOf(rcd);
            if (index != CellBlocks_RCD::npos) v.push_back(vOwn[index]);
        }
        return v;
    };
    std::vector<uint64> vWide = vPatch;
    addBeside(vWide);
    const std::vector<RCDPoint> vRim = samplesIn(vWide);
    const std::optional<FlatRim> rim = flatRimOf(vRim, cell);
    if (!rim || !isAllOnOneSide(vOwn, *rim, cell)) return false;
    const std::vector<uint64> vNear = vWide;
    for (int i = 0; i < ringWidth; ++i) addBeside(vWide);
    const std::vector<RCDPoint> vRing = samplesIn(difference(vWide, vNear));
    return vRing.empty() || !isBentIn(vRim, vRing, *rim);
}

}  // namespace

void leaveBases(const std::vector<RCDPoint>& vOwn, double cell, std::vector<uint64>& vFilled) {
    const CellBlocks_RCD own(codesOf(vOwn));
    std::vector<std::vector<uint64>> vPatches;
    createCC_RCD(vFilled, vPatches);
    vFilled.clear();
    for (const std::vector<uint64>& vPatch : vPatches) {
        if (!isBase(vPatch, vOwn, own, cell)) vFilled.insert(vFilled.end(), vPatch.begin(), vPatch.end());
    }
    sortMT(vFilled.begin(), vFilled.end());
}

}  // namespace QUOR_ZEF
