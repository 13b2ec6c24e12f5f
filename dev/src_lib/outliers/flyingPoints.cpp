#include "outliers/flyingPoints.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "grid/CellBlocks.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint64_t minTogether = 8;  // points that may be a surface
constexpr int levelsApart = 2;            // from the blocks of a surface to those across the way to a flying point
constexpr int topLevel = 21;              // one block holds all, and has done so one level below

// How far some points are from lying in a plane, by the product of their variances along
// three axes, to that of a ball: 0 if they do, on average 0.5 for eight that are strewn in
// space, of which one in 50 comes below 0.1, and more for more.
class Flatness {
public:
    void add(double x, double y, double z) {
        const double v[3] = {x, y, z};
        for (std::size_t i = 0; i < 3; ++i) {
            sum[i] += v[i];
            for (std::size_t k = 0; k < 3; ++k) products[i][k] += v[i] * v[k];
        }
        num += 1.0;
    }
    bool isFlat() const {
        constexpr double mostOfPlane = 0.1;
        double c[3][3];
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k) c[i][k] = products[i][k] - sum[i] * sum[k] / num;
        const double det = c[0][0] * (c[1][1] * c[2][2] - c[1][2] * c[2][1]) -
                           c[0][1] * (c[1][0] * c[2][2] - c[1][2] * c[2][0]) +
                           c[0][2] * (c[1][0] * c[2][1] - c[1][1] * c[2][0]);
        const double third = (c[0][0] + c[1][1] + c[2][2]) / 3.0;
        return det < mostOfPlane * third * third * third;
    }

private:
    double num = 0.0, sum[3] = {}, products[3][3] = {};
};

// A block that holds points of surfaces, at the present level, and the highest level at
// which some of them have become one.
using FirmBlock = std::pair<uint64, int>;

// A block of the lowest level whose points belong to none so far.
struct LooseBlock {
    uint64 code;
    std::uint64_t numPoints;
    bool bNearSurface;  // at the level before, though apart from it for several levels
};

class FlyingSearch {
public:
    FlyingSearch(const std::vector<uint64>& vCCD, int lowestLevel) : lowest(lowestLevel) {
        countPoints(vCCD);
        partFirmOnes();
    }

    std::vector<uint64> run() {
        for (int level = lowest; level <= topLevel && !vLoose.empty(); ++level) climb(level);
        std::sort(vFlying.begin(), vFlying.end());
        return std::move(vFlying);
    }

private:
    int lowest;
    std::vector<FirmBlock> vFirm;    // ascending
    std::vector<LooseBlock> vLoose;  // ascending
    std::vector<uint64> vFlying;
    std::vector<uint64> vBlocks;      // of the present level, those that hold loose ones, ascending
    std::vector<std::size_t> vStart;  // of each of these, its first loose one; and the end

    void countPoints(const std::vector<uint64>& vCCD) {
        for (const uint64 ccd : vCCD) {
            const uint64 code = ccd >> 3 * lowest;
            if (vLoose.empty() || vLoose.back().code != code) vLoose.push_back({code, 0, false});
            ++vLoose.back().numPoints;
        }
    }

    // Settles most blocks without a look around: those within one of twice the side touch,
    // and what is within one of four times the side is not apart from these.
    void partFirmOnes() {
        std::size_t numLoose = 0;
        for (std::size_t begin = 0, end = 0; begin < vLoose.size(); begin = end) {
            const bool bFirm = findEndOfFamily(begin, end);
            for (std::size_t i = begin; i < end; ++i) {
                if (bFirm)
                    vFirm.emplace_back(vLoose[i].code, lowest);
                else
                    vLoose[numLoose++] = vLoose[i];
            }
        }
        vLoose.resize(numLoose);
    }

    // The end of the blocks within one of four times the side, and whether those within
    // one of twice the side have points for a surface.
    bool findEndOfFamily(std::size_t begin, std::size_t& end) const {
        bool bFirm = false;
        std::uint64_t num = 0;
        for (end = begin; end < vLoose.size() && vLoose[end].code >> 6 == vLoose[begin].code >> 6; ++end) {
            if (end == begin || vLoose[end].code >> 3 != vLoose[end - 1].code >> 3) num = 0;
            num += vLoose[end].numPoints;
            bFirm = bFirm || num >= minTogether;
        }
        return bFirm;
    }

    // To blocks of twice the side.
    void coarsenFirmOnes() {
        for (FirmBlock& block : vFirm) block.first >>= 3;
        joinFirmOnes();
    }
    void joinFirmOnes() {
        std::size_t num = 0;
        for (const FirmBlock& block : vFirm) {
            if (num > 0 && vFirm[num - 1].first == block.first)
                vFirm[num - 1].second = std::max(vFirm[num - 1].second, block.second);
            else
                vFirm[num++] = block;
        }
        vFirm.resize(num);
    }

    void climb(int level) {
        if (level > lowest) coarsenFirmOnes();
        gatherBlocks(3 * (level - lowest));
        const std::vector<int> vLevels = levelsAround(level);
        const std::size_t numFirm = vFirm.size();
        std::size_t numLoose = 0;
        for (std::size_t k = 0; k < vBlocks.size(); ++k) {
            // What only touches a surface is as dense as that one: else each point that is
            // near would vouch for those farther away.
            if (vLevels[k] > level - levelsApart)
                vFirm.emplace_back(vBlocks[k], vLevels[k]);
            else
                settle(k, vLevels[k] >= 0, numLoose);
        }
        vLoose.resize(numLoose);
        std::inplace_merge(vFirm.begin(), vFirm.begin() + static_cast<std::ptrdiff_t>(numFirm), vFirm.end());
        joinFirmOnes();
    }

    void gatherBlocks(int shift) {
        vBlocks.clear();
        vStart.clear();
        for (std::size_t i = 0; i < vLoose.size(); ++i) {
            const uint64 code = vLoose[i].code >> shift;
            if (!vBlocks.empty() && vBlocks.back() == code) continue;
            vBlocks.push_back(code);
            vStart.push_back(i);
        }
        vStart.push_back(vLoose.size());
    }

    // Of a block that is apart from all surfaces: what was near one before has had the
    // chance to be one with others, and the rest gets it.
    void settle(std::size_t k, bool bNear, std::size_t& numLoose) {
        for (std::size_t i = vStart[k]; i < vStart[k + 1]; ++i) {
            if (vLoose[i].bNearSurface) {
                vFlying.push_back(vLoose[i].code);
                continue;
            }
            vLoose[numLoose] = vLoose[i];
            vLoose[numLoose++].bNearSurface = bNear;
        }
    }

    // For each block, the highest level of the surfaces that touch it, those included that
    // the points of the blocks make up now; -1 if none does.
    std::vector<int> levelsAround(int level) const {
        std::vector<uint64> vCodes;
        vCodes.reserve(vFirm.size());
        for (const FirmBlock& block : vFirm) vCodes.push_back(block.first);
        const CellBlocks_CCD firm(vCodes), loose(vBlocks);
        std::vector<int> vLevels(vBlocks.size(), -1);
        for (std::size_t k = 0; k < vBlocks.size(); ++k) {
            firm.forEachInMask(vBlocks[k], blockAll,
                               [&](std::uint32_t i, int) { vLevels[k] = std::max(vLevels[k], vFirm[i].second); });
        }
        for (std::size_t k = 0; k < vBlocks.size(); ++k) {
            if (!isSurfaceAround(loose, k, level)) continue;
            loose.forEachInMask(vBlocks[k], blockAll, [&](std::uint32_t i, int) { vLevels[i] = level; });
        }
        return vLevels;
    }

    // Whether there are points for a surface in the block and those that touch it. Where
    // they are as far apart as points that fly, these must be as many places, and lie flat.
    bool isSurfaceAround(const CellBlocks_CCD& loose, std::size_t k, int level) const {
        const bool bSparse = level >= lowest + levelsApart;
        std::uint64_t num = 0;
        Flatness flatness;
        loose.forEachInMask(vBlocks[k], blockAll, [&](std::uint32_t block, int) {
            for (std::size_t i = vStart[block]; i < vStart[block + 1]; ++i) {
                num += bSparse ? 1 : vLoose[i].numPoints;
                if (!bSparse) continue;
                const GridCoords here = unpackCCD(vLoose[i].code), origin = unpackCCD(vLoose[vStart[k]].code);
                const auto offset = [](uint64 to, uint64 from) {
                    return static_cast<double>(to) - static_cast<double>(from);
                };
                flatness.add(offset(here.x, origin.x), offset(here.y, origin.y), offset(here.z, origin.z));
            }
        });
        return num >= minTogether && (!bSparse || flatness.isFlat());
    }
};

}  // namespace

std::vector<uint64> findFlyingBlocks(const std::vector<uint64>& vCCD, int level) {
    return FlyingSearch(vCCD, level).run();
}

}  // namespace QUOR_ZEF
