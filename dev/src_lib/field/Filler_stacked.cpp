#include <algorithm>
#include <cmath>
#include <map>

#include "field/Filler.h"
#include "geometry/freeFunctions.h"
#include "grid/CellBlocks.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

// The sine of 50 degrees. Sheets face to face are linked at 90 degrees, walls that meet at a
// right angle at 45.
constexpr double steepSine = 0.766;

// The surface around a cell of a set of cells with samples.
class LocalPlanes {
public:
    explicit LocalPlanes(const Filler::CodePoints& vRCDPoint) : vPoints(vRCDPoint), blocks(codesOf(vRCDPoint)) {}

    const Point3& sampleOf(uint64 rcd) const { return vPoints[blocks.indexOf(rcd)].second; }

    // The unit normal, its sign left open, of the samples up to two cells away, each as often as
    // a cell between leads to it. False if they have no plane.
    bool getNormal(uint64 rcd, Vector3& normal) const {
        const Point3& centre = sampleOf(rcd);
        double x = 0.0, y = 0.0, z = 0.0, xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0, num = 0.0;
        forEachAround(rcd, [&](std::uint32_t between) {
            forEachAround(vPoints[between].first, [&](std::uint32_t index) {
                const Vector3 d = vPoints[index].second - centre;
                x += d.vx;
                y += d.vy;
                z += d.vz;
                xx += d.vx * d.vx;
                xy += d.vx * d.vy;
                xz += d.vx * d.vz;
                yy += d.vy * d.vy;
                yz += d.vy * d.vz;
                zz += d.vz * d.vz;
                num += 1.0;
            });
        });
        return normalFromProducts(xx - x * x / num, xy - x * y / num, xz - x * z / num, yy - y * y / num,
                                  yz - y * z / num, zz - z * z / num, normal);
    }

private:
    static std::vector<uint64> codesOf(const Filler::CodePoints& vRCDPoint) {
        std::vector<uint64> vCodes;
        vCodes.reserve(vRCDPoint.size());
        for (const auto& point : vRCDPoint) vCodes.push_back(point.first);
        return vCodes;
    }
    template <class Fn>
    void forEachAround(uint64 rcd, const Fn& fn) const {
        blocks.forEachInMask(rcd, blocks.mask27(rcd), [&](std::uint32_t index, int) { fn(index); });
    }

    const Filler::CodePoints& vPoints;
    CellBlocks_RCD blocks;
};

// True if the link between two cells stands steeply on the surfaces at both.
bool isSteep(const LocalPlanes& planes, uint64 rcd0, uint64 rcd1) {
    Vector3 normal0, normal1;
    if (!planes.getNormal(rcd0, normal0) || !planes.getNormal(rcd1, normal1)) return false;
    const Vector3 link = normalize(planes.sampleOf(rcd1) - planes.sampleOf(rcd0));
    return std::abs(link * normal0) > steepSine && std::abs(link * normal1) > steepSine;
}

}  // namespace

void Filler::dropStacked(AffiPairs& vPairs) const {
    if (vPairs.empty()) return;
    const LocalPlanes planes(*pvGlobalRCDPoint);
    std::vector<char> vSteep;
    parallelTransform(vPairs, vSteep, [&](const std::pair<AffiData*, AffiData*>& pr) {
        return static_cast<char>(isSteep(planes, pr.first->rcd, pr.second->rcd));
    });
    const auto idsOf = [](const std::pair<AffiData*, AffiData*>& pr) {
        return std::pair(pr.first->pComponent->id, pr.second->pComponent->id);
    };
    std::map<std::pair<int, int>, std::int64_t> mSurplus;  // of steep links, by Components
    for (std::size_t i = 0; i < vPairs.size(); ++i) mSurplus[idsOf(vPairs[i])] += vSteep[i] ? 1 : -1;
    std::erase_if(vPairs, [&](const auto& pr) { return mSurplus[idsOf(pr)] > 0; });
}

}  // namespace QUOR_ZEF
