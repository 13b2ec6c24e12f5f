#include "gaps/smallHoles.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "frame/tools.h"
#include "gaps/CellBox.h"
#include "geometry/HeightQuadric.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/codeSets.h"
#include "parallel/joinedChunks.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t numRims = 2;                         // on both sides of a hole, a cell wide
constexpr std::uint32_t widest = widestSmallHole + numRims;  // of a group of border cells, in cells
constexpr std::uint32_t margin = 2;                          // around it, in cells

// The cells around a group of border cells, and the piece of surface through their samples. Ways are from the middle
// of the lowest cell, in cells.
class Surroundings {
public:
    // The group has a margin within the grid.
    Surroundings(const CellBox& group, const Calc& givenCalc, const CellBlocks_RCD& givenCells)
        : calc(givenCalc),
          cells(givenCells),
          low{group.low.x - margin, group.low.y - margin, group.low.z - margin},
          size{group.high.x + margin + 1 - low.x, group.high.y + margin + 1 - low.y, group.high.z + margin + 1 - low.z},
          origin(calc.getCellCenter(calc.rcdToCcd(packRCD(low.x, low.y, low.z)))) {}

    // To the samples that hang together with the group. False if they lie on no such piece.
    bool fit(const std::vector<uint64>& vGroup, const std::vector<RCDPoint>& vCloud) {
        constexpr std::size_t fewest = 16;
        constexpr double mostScatter = 0.2;  // cells
        std::vector<Vector3> vWays;
        for (const std::uint32_t index : gather(vGroup, vCloud))
            vWays.push_back((vCloud[index].second - origin) / calc.getCellSize());
        if (vWays.size() < fewest) return false;
        quadric.emplace(vWays, static_cast<double>(widest));
        const double freedoms = static_cast<double>(vWays.size() - quadric->getNumTold());
        return quadric->getNumTold() == HeightQuadric::numTerms &&
               quadric->getSumOfSquares() < mostScatter * mostScatter * freedoms;
    }

    void addCrossed(std::vector<RCDPoint>& vOut) const {
        constexpr uint64 from = margin - 1;
        for (uint64 x = from; x < size.x - from; ++x)
            for (uint64 y = from; y < size.y - from; ++y)
                for (uint64 z = from; z < size.z - from; ++z) addIfCrossed({x, y, z}, vOut);
    }

private:
    static constexpr uint64 side = widest + 2 * margin;

    const Calc& calc;
    const CellBlocks_RCD& cells;
    const GridCoords low, size;
    const Point3 origin;
    std::optional<HeightQuadric> quadric;

    std::vector<std::uint32_t> gather(const std::vector<uint64>& vGroup, const std::vector<RCDPoint>& vCloud) const {
        std::vector<std::uint32_t> vFound;
        std::array<bool, side * side * side> aSeen{};
        const auto see = [&](std::uint32_t index) {
            const GridCoords c = unpackRCD(vCloud[index].first);
            // What lies below the lowest is far beyond the highest.
            const uint64 x = c.x - low.x, y = c.y - low.y, z = c.z - low.z;
            if (x >= size.x || y >= size.y || z >= size.z) return;
            bool& bSeen = aSeen[(x * side + y) * side + z];
            if (!bSeen) vFound.push_back(index);
            bSeen = true;
        };
        for (const uint64 rcd : vGroup) see(cells.indexOf(rcd));
        for (std::size_t i = 0; i < vFound.size();) {
            const uint64 rcd = vCloud[vFound[i++]].first;
            cells.forEachInMask(rcd, cells.mask27(rcd), [&](std::uint32_t index, int) { see(index); });
        }
        return vFound;
    }

    void addIfCrossed(const GridCoords& place, std::vector<RCDPoint>& vOut) const {
        const uint64 rcd = packRCD(low.x + place.x, low.y + place.y, low.z + place.z);
        if (cells.contains(rcd)) return;
        const std::optional<Vector3> crossing = findCrossing(place);
        if (!crossing) return;
        Point3 p = origin + *crossing * calc.getCellSize();
        calc.adaptPointToRCD(rcd, p);
        vOut.emplace_back(rcd, p);
    }

    std::optional<Vector3> findCrossing(const GridCoords& place) const {
        std::array<Vector3, 8> aCorners;
        std::array<double, 8> aHeights;
        const auto coordinate = [](uint64 c, unsigned bHigh) { return static_cast<double>(c + bHigh) - 0.5; };
        for (unsigned i = 0; i < 8; ++i) {
            aCorners[i] = {coordinate(place.x, i & 1), coordinate(place.y, i >> 1 & 1), coordinate(place.z, i >> 2)};
            aHeights[i] = quadric->heightAt(aCorners[i]);
        }
        Vector3 sum;
        double num = 0.0;
        for (unsigned i = 0; i < 8; ++i) {
            for (const unsigned axis : {1U, 2U, 4U}) {
                const unsigned k = i | axis;
                if (k == i || (aHeights[i] < 0.0) == (aHeights[k] < 0.0)) continue;
                sum += aCorners[i] + (aCorners[k] - aCorners[i]) * (aHeights[i] / (aHeights[i] - aHeights[k]));
                num += 1.0;
            }
        }
        return num > 0.0 ? std::optional(sum / num) : std::nullopt;
    }
};

// And with a margin within the grid.
bool isNarrow(const CellBox& box, uint64 most) {
    const auto fits = [&](uint64 low, uint64 high) {
        return high - low < most && low >= margin && high + margin <= coordMask;
    };
    return fits(box.low.x, box.high.x) && fits(box.low.y, box.high.y) && fits(box.low.z, box.high.z);
}

}  // namespace

std::vector<RCDPoint> crossSmallHoles(const std::vector<uint64>& vBorder, const std::vector<RCDPoint>& vCloud,
                                      const Calc& calc, std::uint32_t mostCells) {
    constexpr std::size_t minChunk = 16;
    ASSEX(mostCells<=widestSmallHole);
    std::vector<std::vector<uint64>> vGroups;
    createCC_RCD(vBorder, vGroups);
    const CellBlocks_RCD cells(codesOf(vCloud));
    std::vector<RCDPoint> vCrossed =
        joinedChunks<RCDPoint>(vGroups.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<RCDPoint> vPart;
            for (std::size_t i = begin; i < end; ++i) {
                CellBox box(vGroups[i].front());
                for (const uint64 rcd : vGroups[i]) box.add(rcd);
                if (!isNarrow(box, mostCells + numRims)) continue;
                Surroundings around(box, calc, cells);
                if (around.fit(vGroups[i], vCloud)) around.addCrossed(vPart);
            }
            return vPart;
        });
    sortStableByFirstMT(vCrossed.begin(), vCrossed.end());
    const auto isSame = [](const RCDPoint& a, const RCDPoint& b) { return a.first == b.first; };
    vCrossed.erase(std::unique(vCrossed.begin(), vCrossed.end(), isSame), vCrossed.end());
    return vCrossed;
}

}  // namespace QUOR_ZEF
