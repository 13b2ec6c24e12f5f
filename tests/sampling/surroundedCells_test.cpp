#include "sampling/surroundedCells.h"

#include <gtest/gtest.h>

#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(SurroundedCells, areTheRecordedOnes) {
    EXPECT_TRUE(getSurroundedCells({}).empty());
    EXPECT_TRUE(getSurroundedCells({packCCD(5, 5, 5)}).empty());
    Digests vFound;
    for (unsigned k = 0; k < 12; ++k) {
        std::vector<uint64> vCells;
        for (const uint64 rcd : drawnCells(k)) vCells.push_back(unitGrid().rcdToCcd(rcd));
        std::sort(vCells.begin(), vCells.end());
        const std::vector<uint64> vSurrounded = getSurroundedCells(vCells);
        EXPECT_FALSE(vSurrounded.empty());
        vFound.push_back(digestOf(vSurrounded));
    }
    EXPECT_EQ(vFound, (Digests{1705193697, 3817626658, 3656194830, 2124803502, 4197979777, 3278574411, 2260656062,
                               2594224759, 3410079902, 4261726937, 891310511, 1194168322}));
}
