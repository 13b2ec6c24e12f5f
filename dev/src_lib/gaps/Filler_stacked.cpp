#include <cstdint>
#include <map>

#include "gaps/Filler.h"
#include "gaps/LocalPlanes.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

void Filler::dropStacked(AffiPairs& vPairs) const {
    // The sine of 50 degrees. Sheets face to face are linked at 90 degrees, walls that meet at a
    // right angle at 45.
    constexpr double steep = 0.766;
    if (vPairs.empty()) return;
    const LocalPlanes planes(*pvGlobalRCDPoint);
    std::vector<char> vSteep;
    parallelTransform(vPairs, vSteep, [&](const std::pair<AffiData*, AffiData*>& pr) {
        const uint64 rcd0 = pr.first->rcd, rcd1 = pr.second->rcd;
        const bool bSteep =
            planes.steepness(rcd0, rcd1).value_or(0.0) > steep && planes.steepness(rcd1, rcd0).value_or(0.0) > steep;
        return static_cast<char>(bSteep);
    });
    const auto idsOf = [](const std::pair<AffiData*, AffiData*>& pr) {
        return std::pair(pr.first->pComponent->id, pr.second->pComponent->id);
    };
    std::map<std::pair<int, int>, std::int64_t> mSurplus;  // of steep links, by Components
    for (std::size_t i = 0; i < vPairs.size(); ++i) mSurplus[idsOf(vPairs[i])] += vSteep[i] ? 1 : -1;
    std::erase_if(vPairs, [&](const auto& pr) { return mSurplus[idsOf(pr)] > 0; });
}

}  // namespace QUOR_ZEF
