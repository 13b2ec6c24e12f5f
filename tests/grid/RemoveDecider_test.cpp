#include "grid/RemoveDecider.h"

#include <gtest/gtest.h>

#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(RemoveDecider, answersAndThinningAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    Digests vFound;
    for (unsigned k = 0; k < 12; ++k) {
        std::vector<uint64> vCCD, vCandidates, vDoomed{1}, vKept{2};
        for (const uint64 rcd : drawnCells(k)) vCCD.push_back(calc.rcdToCcd(rcd));
        std::sort(vCCD.begin(), vCCD.end());
        RemoveDecider decider(&vCCD, &calc);
        Digest digest;
        // Listed cells and empty ones; removal changes the answers for the cells around.
        for (const uint64 rcd : voxelBox(49, 49, 49, 60, 60, 60)) {
            const uint64 ccd = calc.rcdToCcd(rcd);
            vCandidates.push_back(ccd);
            const bool bAllowed = decider.allowsRemoval(ccd);
            digest.add(bAllowed + 2 * decider.isBorder(ccd));
            EXPECT_TRUE(!bAllowed || (decider.doom(ccd) && !decider.doom(ccd) && !decider.allowsRemoval(ccd)));
            digest.add(decider.isDoomed(ccd));
        }
        Draws(k).shuffle(vCandidates);
        RemoveDecider strong(&vCCD, &calc);
        digest.add(strong.pruneStrong(vCandidates, vDoomed, vKept));
        digest.add(vDoomed);
        digest.add(vKept);
        vFound.push_back(digest.get());
    }
    EXPECT_EQ(vFound, (Digests{2598975190, 4250746910, 3862092789, 81354288, 2349104226, 683001434, 4249987134,
                               1614588739, 3151080940, 2660398999, 2330570599, 2005323653}));
}
