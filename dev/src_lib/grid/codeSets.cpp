#include "grid/codeSets.h"

#include <cstdint>

#include "frame/Run.h"
#include "frame/tools.h"
#include "grid/CellBlocks.h"
#include "parallel/sortMT.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

void checkUnderName(bool bHolds, const std::string& name) {
    if (!bHolds) assexFailed(__FILE__, __LINE__, static_cast<const char*>(__PRETTY_FUNCTION__), name.c_str());
}

bool assert_disjoint(const std::vector<uint64>& vA, const std::vector<uint64>& vB) {
    const auto sorted = [](std::vector<uint64> v) {
        sortMT(v.begin(), v.end());
        return v;
    };
    if (!isSorted(vA)) return assert_disjoint(sorted(vA), vB);
    if (!isSorted(vB)) return assert_disjoint(vA, sorted(vB));
    auto a = vA.begin();
    auto b = vB.begin();
    while (a != vA.end() && b != vB.end()) {
        if (*a == *b) return false;
        *a < *b ? ++a : ++b;
    }
    return true;
}

std::vector<uint64> intersection(const std::vector<uint64>& vA, const std::vector<uint64>& vB) {
    std::vector<uint64> v;
    v.reserve(std::min(vA.size(), vB.size()));
    std::set_intersection(vA.begin(), vA.end(), vB.begin(), vB.end(), std::back_inserter(v));
    return v;
}

std::vector<uint64> unionOf(const std::vector<uint64>& vA, const std::vector<uint64>& vB) {
    std::vector<uint64> v;
    v.reserve(vA.size() + vB.size());
    std::set_union(vA.begin(), vA.end(), vB.begin(), vB.end(), std::back_inserter(v));
    return v;
}

std::vector<uint64> difference(const std::vector<uint64>& vA, const std::vector<uint64>& vB) {
    std::vector<uint64> v;
    v.reserve(vA.size());
    std::set_difference(vA.begin(), vA.end(), vB.begin(), vB.end(), std::back_inserter(v));
    return v;
}

namespace {

// vRCD must be sorted and unique.
void componentsOfSet(const std::vector<uint64>& vRCD, std::vector<std::vector<uint64>>& vComponents) {
    DisjointSets sets(vRCD.size());
    CellBlocks_RCD(vRCD).forEachPair([&](std::uint32_t i, std::uint32_t j) {
        pollRun(i);
        sets.join(i, j);
    });

    std::vector<std::uint32_t> vComponentOf(vRCD.size());
    std::vector<std::size_t> vCount;
    for (std::uint32_t i = 0; i < vRCD.size(); ++i) {
        pollRun(i);
        const std::uint32_t root = sets.find(i);
        if (root == i) {
            vComponentOf[i] = static_cast<std::uint32_t>(vCount.size());
            vCount.push_back(0);
        }
        vComponentOf[i] = vComponentOf[root];
        ++vCount[vComponentOf[i]];
    }
    vComponents.resize(vCount.size());
    for (std::size_t c = 0; c < vCount.size(); ++c) vComponents[c].reserve(vCount[c]);
    for (std::size_t i = 0; i < vRCD.size(); ++i) {
        pollRun(i);
        vComponents[vComponentOf[i]].push_back(vRCD[i]);
    }
}

}  // namespace

void addBeside(std::vector<uint64>& vRCD) {
    for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
        const std::vector<uint64> vBefore = vRCD;
        for (const uint64 shift : {step, 0 - step}) {
            std::vector<uint64> vShifted = vBefore;
            for (uint64& rcd : vShifted) rcd += shift;
            vRCD = unionOf(vRCD, vShifted);
        }
    }
}

void createCC_RCD(const std::vector<uint64>& vRCD, std::vector<std::vector<uint64>>& vComponents) {
    vComponents.clear();
    const auto notAscending = [](uint64 a, uint64 b) { return a >= b; };
    if (std::adjacent_find(vRCD.begin(), vRCD.end(), notAscending) == vRCD.end()) {
        componentsOfSet(vRCD, vComponents);
        return;
    }
    std::vector<uint64> vSet = vRCD;
    sortUniqueMT(vSet);
    componentsOfSet(vSet, vComponents);
}

}  // namespace QUOR_ZEF
