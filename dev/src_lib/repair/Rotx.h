#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

class CMesh;
class Calc;

// The rotational order of third cells around an axis of two cells that touch,
// as a table over the 4x4x4 cells with coordinates 0 to 3: the axis cells have
// coordinates 1 or 2. Ranks depend on the proportions of a cell only.
// Read-only once built, then for any thread. Building takes some microseconds a pair.
class Rotx {
public:
    CMesh* pCMesh;  // not owned
    bool bBuild;
    const Calc* pCalc;  // not owned; that of the mesh

    // All ordered pairs of axis cells (RCD), ascending.
    std::vector<std::pair<uint64, uint64>> sAxisPairs;
    // Key and rank, ascending by key; see getKey().
    std::vector<std::pair<std::uint32_t, std::int32_t>> mRank;

    // Builds the table if bBuild_ is set, otherwise both lists stay empty.
    Rotx(CMesh* pCMesh_, bool bBuild_);

    // Three bits a coordinate: a in bits 0 to 8, b in 9 to 17, c in 18 to 26, each
    // z, y, x from its lowest bit on. Coordinates of 8 and more are cut.
    static std::uint32_t getKey(uint64 a, uint64 b, uint64 c);
    // The cells that share a grid corner with both a and b, ascending.
    static void getThirdRCDs(uint64 a, uint64 b, std::vector<uint64>& vThird);
    // Sorts by the angle around the axis from a to b, from the first of vThird on,
    // then by code, and enters the ranks, in place of those there. A rank begins
    // more than one degree after the start of the one before. vThird must not be
    // empty, and a cell on the line through a and b fails an ASSEX.
    void sortThirdRCDs(uint64 a, uint64 b, std::vector<uint64>& vThird);
};

}  // namespace QUOR_ZEF
