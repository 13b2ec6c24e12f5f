#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <tuple>

#include "support/capture.h"
#include "support/digest.h"
#include "support/voxelMesh.h"
#include "support/voxels.h"

using namespace zef_test;

namespace {

// The cells of a solid that lie beside one outside: across a face, or also
// across an edge or a corner, which gives a thicker shell.
template <class Inside>
std::vector<uint64> shellOf(Inside&& inside, bool bThick) {
    const int reach = 30, base = 100;
    std::vector<uint64> v;
    for (int x = -reach; x < reach; ++x)
        for (int y = -reach; y < reach; ++y)
            for (int z = -reach; z < reach; ++z) {
                bool bOpen = false;
                for (int i = 0; i < 27; ++i) {
                    const int dx = i % 3 - 1, dy = i / 3 % 3 - 1, dz = i / 9 - 1;
                    if (!bThick && std::abs(dx) + std::abs(dy) + std::abs(dz) != 1) continue;
                    bOpen = bOpen || !inside(x + dx + 0.5, y + dy + 0.5, z + dz + 0.5);
                }
                if (bOpen && inside(x + 0.5, y + 0.5, z + 0.5))
                    v.push_back(packRCD(static_cast<uint64>(base + x), static_cast<uint64>(base + y),
                                        static_cast<uint64>(base + z)));
            }
    return v;
}
bool inSphere(double x, double y, double z) {
    return std::hypot(x, y, z) < 15.3;
}
bool inTorus(double x, double y, double z) {
    return std::hypot(std::hypot(x, y) - 18.0, z) < 7.3;
}

// Square tubes, four cells wide, side by side.
std::vector<uint64> tubes(int num, int length) {
    std::vector<uint64> v;
    for (int n = 0; n < num; ++n)
        for (int z = 0; z < length; ++z)
            for (int i = 0; i < 16; ++i) {
                const int x = i % 4, y = i / 4;
                if (z % 2 == 1 && (x == 1 || x == 2) && (y == 1 || y == 2)) continue;
                v.push_back(packRCD(static_cast<uint64>(100 + 6 * n + x), static_cast<uint64>(100 + y),
                                    static_cast<uint64>(100 + z)));
            }
    return v;
}

// And for one in so many one cell across a face of it.
std::vector<uint64> withCellsBeside(std::vector<uint64> v, unsigned every, unsigned seed) {
    std::mt19937 random(seed);
    const std::size_t numBefore = v.size();
    for (std::size_t i = 0; i < numBefore; ++i) {
        if (random() % every != 0) continue;
        const uint64 step = packRCD(1, 0, 0) >> 21 * (random() % 3);
        v.push_back(random() % 2 == 0 ? v[i] + step : v[i] - step);
    }
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
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
    m.run();
    EXPECT_EQ(m.unorientedCorners(), before);
    EXPECT_EQ(m.numConflicts(), 0u);
    m.runMelt();
    EXPECT_EQ(m.unorientedCorners(), before);
}

// Hostile sets: blocks full of noise, thick noisy layers, a comb, stairs, stacked
// sheets, tubes with membranes, shells with cells beside.
std::vector<uint64> cellsOf(unsigned k) {
    std::mt19937 random(k);
    std::vector<uint64> v;
    if (k < 4) {
        v = voxelBox(100, 100, 100, 117, 117, 117);
        std::erase_if(v, [&](uint64) { return random() % 100 >= 20 + 12 * k; });
    } else if (k < 7) {
        v = voxelBox(100, 100, 100, 129, 129, 101 + static_cast<int>(k - 4));
        std::erase_if(v, [&](uint64) { return random() % 100 < 40; });
    } else if (k == 7) {
        v = voxelBox(100, 100, 100, 129, 115, 100);
        for (int x = 100; x < 130; x += 2)
            for (const uint64 rcd : voxelBox(x, 100, 101, x, 115, 112)) v.push_back(rcd);
    } else if (k == 8) {
        for (int x = 0; x < 30; ++x)
            for (int y = 0; y < 30; ++y) v.push_back(packRCD(uint64(100 + x), uint64(100 + y), uint64(100 + x + y)));
    } else if (k == 9) {
        for (int z = 100; z < 130; ++z)
            if (z % 3 != 0)
                for (const uint64 rcd : voxelBox(100, 100, z, 115, 115, z)) v.push_back(rcd);
    } else if (k == 10) {
        v = tubes(24, 30);
    } else {
        v = withCellsBeside(shellOf(k % 2 == 0 ? inSphere : inTorus, k == 13), 50, k);
    }
    return v;
}

}  // namespace

TEST(TopRun, cleanSphereAndTorusStayAsTheyAre) {
    expectUntouched(shellOf(inSphere, false), 2);
    expectUntouched(shellOf(inTorus, false), 0);
}

// One run settles what it leaves closed and without non-manifold edges: nearly all
// shells with an extra cell beside one of a hundred, most with one beside one of fifty.
TEST(TopRun, whatComesOutClosedAndManifoldIsSettled) {
    const auto numSettled = [](unsigned every) {
        int num = 0;
        for (unsigned seed = 1; seed <= 6; ++seed) {
            VoxelMesh m(withCellsBeside(shellOf(seed % 2 == 0 ? inSphere : inTorus, false), every, seed));
            m.run();
            if (m.numEdges(-5) != 0) continue;
            const auto once = m.unorientedCorners();
            m.run();
            EXPECT_EQ(m.unorientedCorners(), once);
            ++num;
        }
        return num;
    };
    EXPECT_EQ(numSettled(100), 6);
    EXPECT_GE(numSettled(50), 4);
}

// Recorded while later passes, over what changed, agreed with passes over all.
TEST(TopRun, stagesGiveTheRecordedMeshesOfHostileCells) {
    using Step = std::function<void(VoxelMesh&, Top&)>;
    const std::tuple<const char*, uint64, Step> vSteps[] = {
        {"diagonals", 0x644280724e6e2c44u, [](VoxelMesh&, Top& top) { top.unifyDiagonals(); }},
        {"degenerate", 0x5f5c294d0d417304u, [](VoxelMesh&, Top& top) { top.killDegenerate(); }},
        {"fringes", 0x271963578c503557u, [](VoxelMesh&, Top& top) { top.killTinyBorderPatches(40); }},
        {"patches", 0x9ac59cd94aa03198u, [](VoxelMesh&, Top& top) { top.repeatProcessPatches(false, nullptr); }},
        {"carefully", 0x49ee5ef85da558u, [](VoxelMesh&, Top& top) { top.repeatProcessPatches(true, nullptr); }},
        {"evil", 0x5e7be440036c7556u, [](VoxelMesh&, Top& top) { top.removeEvilDeg3(); }},
        {"complete", 0x13933d416c3843bu, [](VoxelMesh& m, Top& top) { top.cbsComplete(m.pVoro.get()); }},
        {"borders", 0x7181d87a68a7c3c1u,
         [](VoxelMesh&, Top& top) {
             std::vector<CEdge*> vBorder;
             top.getBordersKillDeg1nn(vBorder);
             for (CEdge* pCE : vBorder) top.integrateCCD(pCE);
         }},
        {"run", 0x817de1097de6863bu, [](VoxelMesh& m, Top& top) { top.run(m.pVoro.get()); }},
        {"melt", 0xe071f6f2ae0c1be4u, [](VoxelMesh& m, Top& top) { top.runMelt(m.pVoro.get()); }}};
    for (const auto& [name, expected, step] : vSteps) {
        std::vector<uint64> vAll;
        for (unsigned k = 0; k < 14; ++k) {
            VoxelMesh m(cellsOf(k));
            Top top(m.pMesh.get(), &m.calc);
            printedText([&, &run = step] { run(m, top); });
            for (const VoxelMesh::Corners& c : m.corners()) vAll.insert(vAll.end(), c.begin(), c.end());
        }
        EXPECT_EQ(digest(vAll), expected) << name;
    }
}

// Passes over what changed against passes over the whole mesh, which are their reference form.
TEST(TopRun, laterPassesFindAllThatAFreshDivisionShows) {
    int numPasses = 0;
    for (unsigned k = 0; k < 14; ++k) {
        VoxelMesh m(cellsOf(k)), fresh(cellsOf(k));
        for (const bool bCareful : {true, false}) {  // in this order, as a run has them
            Top(m.pMesh.get(), &m.calc).repeatProcessPatches(bCareful, nullptr);
            while (Top(fresh.pMesh.get(), &fresh.calc).processPatches(bCareful)) ++numPasses;
            EXPECT_EQ(m.corners(), fresh.corners()) << k;
        }
    }
    EXPECT_GT(numPasses, 20);
}

TEST(TopRun, noCellsGiveNoTriangles) {
    VoxelMesh m({packRCD(100, 100, 100)});
    m.run();
    EXPECT_TRUE(m.corners().empty());
    m.runMelt();
    EXPECT_TRUE(m.corners().empty());
}
