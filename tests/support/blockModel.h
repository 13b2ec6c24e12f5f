#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "grid/Calc.h"
#include "grid/cellTopology.h"

// The questions about a cell's block, and the thinning by them, as slow models
// over sets, written after their rules and sharing nothing with the library's masks.

namespace zef_test {

using QUOR_ZEF::uint64;

// Which of the 27 cells around a cell exist.
struct Block {
    std::array<bool, 27> exists{};

    static int at(int dx, int dy, int dz) { return (dz + 1) * 9 + (dy + 1) * 3 + dx + 1; }
    static bool inside(int dx, int dy, int dz) { return std::max({std::abs(dx), std::abs(dy), std::abs(dz)}) <= 1; }
    bool missing(int i) const { return !exists[static_cast<std::size_t>(i)]; }

    std::uint32_t mask() const {
        std::uint32_t m = 0;
        for (int i = 0; i < 27; ++i) m |= (missing(i) ? 0u : 1u) << i;
        return m;
    }
    static Block ofMask(std::uint32_t m) {
        Block b;
        for (std::size_t i = 0; i < 27; ++i) b.exists[i] = m >> i & 1;
        return b;
    }
    int numExisting() const { return static_cast<int>(std::count(exists.begin(), exists.end(), true)); }

    // All missing cells that steps lead to, the start included; never through the centre.
    std::vector<int> flood(int start) const {
        std::array<bool, 27> bSeen{};
        std::vector<int> vWork{start};
        bSeen[static_cast<std::size_t>(start)] = true;
        for (std::size_t k = 0; k < vWork.size(); ++k) {
            const int i = vWork[k], dx = i % 3 - 1, dy = i / 3 % 3 - 1, dz = i / 9 - 1;
            for (int step = 0; step < 6; ++step) {
                const int s = step % 2 ? 1 : -1;
                const int x = dx + (step / 2 == 0 ? s : 0), y = dy + (step / 2 == 1 ? s : 0);
                const int z = dz + (step / 2 == 2 ? s : 0);
                if (!inside(x, y, z)) continue;
                const int next = at(x, y, z);
                if (next == 13 || !missing(next) || bSeen[static_cast<std::size_t>(next)]) continue;
                bSeen[static_cast<std::size_t>(next)] = true;
                vWork.push_back(next);
            }
        }
        return vWork;
    }

    int firstMissingFace() const {
        for (const int i : {12, 14, 4, 22, 10, 16}) {
            if (missing(i)) return i;
        }
        return -1;
    }

    bool isCritical() const {
        static constexpr int vFace[6][3] = {{-1, 0, 0}, {1, 0, 0}, {0, 0, -1}, {0, 0, 1}, {0, -1, 0}, {0, 1, 0}};
        std::vector<int> vMissing;
        for (int f = 0; f < 6; ++f) {
            if (missing(at(vFace[f][0], vFace[f][1], vFace[f][2]))) vMissing.push_back(f);
        }
        if (vMissing.empty()) return false;
        std::set<int> sSeen{vMissing[0]};
        std::vector<int> vWork{vMissing[0]};
        while (!vWork.empty()) {
            const int a = vWork.back();
            vWork.pop_back();
            for (const int b : vMissing) {
                if (a / 2 == b / 2) continue;  // on one axis
                const int edge = at(vFace[a][0] + vFace[b][0], vFace[a][1] + vFace[b][1], vFace[a][2] + vFace[b][2]);
                if (missing(edge) && sSeen.insert(b).second) vWork.push_back(b);
            }
        }
        return sSeen.size() != vMissing.size();
    }

    // One empty region of that size, seen from an exposed face.
    bool isRim(int minMissing) const {
        const int start = firstMissingFace();
        if (start < 0) return false;
        const int numMembers = static_cast<int>(flood(start).size());
        return numMembers >= minMissing && numMembers + numExisting() == 27;
    }
    bool isBorder() const { return isRim(19) && !isCritical(); }

    QUOR_ZEF::OppState oppState(int dir) const {
        static constexpr int vFrom[6] = {12, 14, 10, 16, 4, 22};
        const int opposite = vFrom[dir % 2 ? dir - 1 : dir + 1];
        if (!missing(opposite)) return QUOR_ZEF::OS_SOLID;
        const std::vector<int> vFlood = flood(vFrom[dir]);
        const bool bReached = std::find(vFlood.begin(), vFlood.end(), opposite) != vFlood.end();
        return bReached ? QUOR_ZEF::OS_CONNECTED : QUOR_ZEF::OS_SEPARATED;
    }
};

// Cells by their packed codes; those asked about lie off the border of the grid.
struct SlowDecider {
    std::set<uint64> sListed, sDoomed;
    std::map<uint64, double> mDistance;  // of the candidates, over the cell size
    double cellSize = 1;

    // dx is the slowest here.
    static std::vector<uint64> around(uint64 rcd) {
        const auto [x, y, z] = QUOR_ZEF::unpackRCD(rcd);
        std::vector<uint64> v;
        for (uint64 dx = 0; dx < 3; ++dx) {
            for (uint64 dy = 0; dy < 3; ++dy) {
                for (uint64 dz = 0; dz < 3; ++dz) v.push_back(QUOR_ZEF::packRCD(x + dx - 1, y + dy - 1, z + dz - 1));
            }
        }
        return v;
    }

    Block block(uint64 rcd) const {
        Block b;
        const std::vector<uint64> v = around(rcd);
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dz = -1; dz <= 1; ++dz) {
                    const uint64 code = v[static_cast<std::size_t>((dx + 1) * 9 + (dy + 1) * 3 + dz + 1)];
                    const bool bExists = (code == rcd || sListed.count(code)) && !sDoomed.count(code);
                    b.exists[static_cast<std::size_t>(Block::at(dx, dy, dz))] = bExists;
                }
            }
        }
        return b;
    }

    bool wouldBecomeNewBorder(uint64 rcd, uint64 removeRCD) {
        if (block(rcd).isBorder()) return false;
        sDoomed.insert(removeRCD);
        const bool bBorder = block(rcd).isBorder();
        sDoomed.erase(removeRCD);
        return bBorder;
    }

    double weight(uint64 rcd) const {
        const Block b = block(rcd);
        int n = 0;
        for (const int i : {4, 10, 12, 14, 16, 22}) n += b.missing(i) ? 0 : 1;
        return n + cellSize - mDistance.at(rcd);
    }

    std::vector<std::vector<uint64>> components(std::set<uint64> sCells) const {
        std::vector<std::vector<uint64>> vComponents;
        while (!sCells.empty()) {
            std::vector<uint64> v{*sCells.begin()};
            sCells.erase(sCells.begin());
            for (std::size_t k = 0; k < v.size(); ++k) {
                for (const uint64 next : around(v[k])) {
                    if (sCells.erase(next)) v.push_back(next);
                }
            }
            std::sort(v.begin(), v.end());
            vComponents.push_back(v);
        }
        return vComponents;
    }

    void doom(uint64 rcd, std::vector<uint64>& vDoomed) {
        sDoomed.insert(rcd);
        vDoomed.push_back(rcd);
    }

    void dropSmallBorders(std::vector<uint64>& vDoomed) {
        std::set<uint64> sBorder;
        for (const uint64 rcd : sListed) {
            if (!sDoomed.count(rcd) && block(rcd).isBorder()) sBorder.insert(rcd);
        }
        for (const std::vector<uint64>& vGroup : components(sBorder)) {
            if (vGroup.size() > 40) continue;
            bool bNewBorder = false;
            for (const uint64 rcd : vGroup) {
                for (const uint64 other : around(rcd)) {
                    if (sListed.count(other) && wouldBecomeNewBorder(other, rcd)) bNewBorder = true;
                }
            }
            if (bNewBorder) continue;
            for (const uint64 rcd : vGroup) {
                if (!block(rcd).isCritical()) doom(rcd, vDoomed);
            }
        }
    }

    // The doomed cells, sorted.
    std::vector<uint64> prune(const std::vector<uint64>& vCandidates, bool bKeepNoBorder, bool bDropSmallBorders) {
        const std::set<uint64> sCandidates(vCandidates.begin(), vCandidates.end());
        std::vector<uint64> vDoomed;
        if (bDropSmallBorders) dropSmallBorders(vDoomed);
        for (std::size_t numBefore = vDoomed.size() + 1; numBefore != vDoomed.size();) {
            numBefore = vDoomed.size();
            std::multiset<std::pair<double, uint64>> queue;
            for (const uint64 rcd : vCandidates) queue.emplace(weight(rcd), rcd);
            while (!queue.empty()) {
                const uint64 rcd = queue.begin()->second;
                queue.erase(queue.begin());
                if (sDoomed.count(rcd) || block(rcd).isCritical()) continue;
                if (!bKeepNoBorder && block(rcd).isBorder()) continue;
                doom(rcd, vDoomed);
                for (const uint64 step : {uint64{1} << 42, uint64{1} << 21, uint64{1}}) {
                    for (const uint64 next : {rcd - step, rcd + step}) {
                        if (sCandidates.count(next) && !sDoomed.count(next)) queue.emplace(weight(next), next);
                    }
                }
            }
        }
        std::sort(vDoomed.begin(), vDoomed.end());
        return vDoomed;
    }

    bool mayGo(uint64 rcd, bool bKeepNoBorder, bool bRim) const {
        const Block b = block(rcd);
        if (sDoomed.count(rcd) || b.firstMissingFace() < 0 || b.isCritical()) return false;
        if (!bKeepNoBorder && b.isBorder()) return false;
        return !(bRim && b.isRim(17));
    }

    bool layer(const std::vector<uint64>& vCandidates, bool bKeepNoBorder, bool bRim, std::vector<uint64>& vDoomed) {
        std::vector<std::pair<double, uint64>> vList;
        for (const uint64 rcd : vCandidates) {
            if (mayGo(rcd, bKeepNoBorder, bRim)) vList.emplace_back(weight(rcd), rcd);
        }
        std::sort(vList.begin(), vList.end());
        const std::size_t numBefore = vDoomed.size();
        for (const auto& entry : vList) {
            if (mayGo(entry.second, bKeepNoBorder, bRim)) doom(entry.second, vDoomed);
        }
        return vDoomed.size() > numBefore;
    }

    std::vector<uint64> pruneLayered(const std::vector<uint64>& vCandidates, bool bKeepNoBorder, bool bDropSmallBorders,
                                     int numLastPasses) {
        std::vector<uint64> vDoomed;
        if (bDropSmallBorders) dropSmallBorders(vDoomed);
        while (layer(vCandidates, bKeepNoBorder, !bKeepNoBorder, vDoomed)) {
        }
        while (!bKeepNoBorder && numLastPasses-- > 0 && layer(vCandidates, false, false, vDoomed)) {
        }
        std::sort(vDoomed.begin(), vDoomed.end());
        return vDoomed;
    }
};

}  // namespace zef_test
