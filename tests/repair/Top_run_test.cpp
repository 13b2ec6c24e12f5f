#include <gtest/gtest.h>

#include <random>

#include "repair/VoxelMesh.h"
#include "support/capture.h"
#include "support/voxels.h"

using namespace zef_test;

namespace {

std::vector<uint64> voxelTorus(double radius, double tube, double halfThickness) {
    std::vector<uint64> v;
    const int reach = static_cast<int>(radius + tube) + 2;
    for (int x = -reach; x < reach; ++x)
        for (int y = -reach; y < reach; ++y)
            for (int z = -reach; z < reach; ++z) {
                const double r = std::hypot(std::hypot(x + 0.5, y + 0.5) - radius, z + 0.5);
                if (std::abs(r - tube) <= halfThickness)
                    v.push_back(packRCD(static_cast<uint64>(100 + x), static_cast<uint64>(100 + y),
                                        static_cast<uint64>(100 + z)));
            }
    return v;
}

void expectUntouched(const std::vector<uint64>& vRCD, int euler) {
    VoxelMesh m(vRCD, 0.1);
    ASSERT_EQ(m.numEdges(-5), 0u);
    ASSERT_EQ(m.euler(), euler);
    const auto before = m.unorientedCorners();
    m.run();
    EXPECT_EQ(m.unorientedCorners(), before);
    EXPECT_EQ(m.numConflicts(), 0u);
    const auto oriented = m.corners();
    m.run();
    EXPECT_EQ(m.unorientedCorners(), before);
    EXPECT_EQ(m.numConflicts(), 0u);
    m.runMelt();
    EXPECT_EQ(m.unorientedCorners(), before);
}

// The hostile sets must end; what they become is open but for these.
void expectRepaired(const std::vector<uint64>& vRCD) {
    VoxelMesh m(vRCD);
    const std::size_t numBefore = m.numEdges(-1);
    printedText([&] { m.run(); });
    EXPECT_LE(m.numEdges(-1), numBefore);
    const auto once = m.corners();
    VoxelMesh again(vRCD);
    printedText([&] { again.run(); });
    EXPECT_EQ(again.corners(), once);
}

}  // namespace

TEST(TopRun, cleanSphereAndTorusStayAsTheyAre) {
    expectUntouched(voxelSphere(20.0, 0.6, 100), 2);
    expectUntouched(voxelTorus(20.0, 8.0, 0.6), 0);
}

TEST(TopRun, noiseOnAThinShellGetsLess) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        VoxelMesh m(noisySheet(40, 40, 0.4, seed));
        const std::size_t numBefore = m.numEdges(-1);
        ASSERT_GT(numBefore, 0u);
        printedText([&] { m.run(); });
        EXPECT_LT(m.numEdges(-1), numBefore);
        EXPECT_GT(m.corners().size(), 2000u);
    }
}

TEST(TopRun, hostileCellSetsComeToAnEnd) {
    std::mt19937 random(4);
    expectRepaired(randomCells(random, 100, 24, 0.3));
    std::vector<uint64> vComb = voxelBox(100, 100, 100, 129, 115, 100), vStairs, vSheets;
    for (int x = 100; x < 130; x += 2) {
        const auto vTooth = voxelBox(x, 100, 101, x, 115, 112);
        vComb.insert(vComb.end(), vTooth.begin(), vTooth.end());
    }
    expectRepaired(vComb);
    for (int x = 0; x < 30; ++x)
        for (int y = 0; y < 30; ++y) vStairs.push_back(packRCD(uint64(100 + x), uint64(100 + y), uint64(100 + x + y)));
    expectRepaired(vStairs);
    for (int z = 0; z < 40; ++z) {
        const auto vSheet = voxelBox(100, 100, 100 + 3 * (z / 2) + z % 2, 115, 115, 100 + 3 * (z / 2) + z % 2);
        vSheets.insert(vSheets.end(), vSheet.begin(), vSheet.end());
    }
    expectRepaired(vSheets);
}

TEST(TopRun, noCellsGiveNoTriangles) {
    VoxelMesh m({packRCD(100, 100, 100)});
    m.run();
    EXPECT_TRUE(m.corners().empty());
    m.runMelt();
    EXPECT_TRUE(m.corners().empty());
}
