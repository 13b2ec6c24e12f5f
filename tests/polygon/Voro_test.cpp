#include "polygon/Voro.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/voxels.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Codes = std::vector<uint64>;

void planVoro() {
    planProgress("test", {{"VO_ftx", 1}, {"VO_amb", 1}});
}

// Cells with Bundles in their middles, and the map of them.
struct CellSet {
    Calc calc = unitGrid();
    Codes vCCD;
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;

    explicit CellSet(const Codes& vRCD) {
        for (const uint64 rcd : vRCD) vCCD.push_back(calc.rcdToCcd(rcd));
        std::sort(vCCD.begin(), vCCD.end());
        calc.getCellCenters(vCCD, vPoints);
        std::vector<Bundle*> vPointers;
        vBundles.reserve(vCCD.size());
        for (std::size_t i = 0; i < vCCD.size(); ++i) {
            vBundles.push_back({&vPoints[i], vCCD[i]});
            vPointers.push_back(&vBundles[i]);
        }
        cells.build(vPointers);
    }
};

struct Extraction : CellSet {
    Voro voro;

    explicit Extraction(const Codes& vRCD) : CellSet(vRCD), voro(&calc, &cells, TM_FAT) {
        planVoro();
        voro.fatExtractTriangles();
    }
    CMesh& mesh() const { return *voro.getCMesh(); }
    // Those with at least five cells.
    Codes corners() const {
        std::map<uint64, int> mCells;
        for (const uint64 ccd : voro.getCells()) {
            uint64 around[8] = {ccd};
            calc.getVCDsOfCCD(around);
            for (const uint64 vcd : around) ++mCells[vcd];
        }
        Codes v;
        for (const auto& [vcd, numCells] : mCells)
            if (numCells >= 5) v.push_back(vcd);
        return v;
    }
    std::size_t numEdges(int degree) const {
        std::vector<CEdge*> vEdges;
        mesh().getDegN(degree, vEdges);
        return vEdges.size();
    }
};

// Corners, grid corner and config of each triangle.
Codes valuesOf(const CMesh& mesh) {
    Codes v;
    mesh.forEachTriangle([&](const CTriangle* pT) {
        v.insert(v.end(), {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2), pT->vcd, uint64(pT->config)});
    });
    return v;
}

// Random cells, some of them in full blocks, off a block boundary of any size.
Codes drawCells(std::mt19937& random, int k) {
    const int lowest = 1021 + k % 5, side = 3 + k % 6;
    const int last = lowest + side - 1;
    Codes v = voxelBox(lowest, lowest, lowest, last, last, last);
    std::erase_if(v, [&](uint64) { return random() % 100 >= 10 + 11 * (static_cast<unsigned>(k) % 9); });
    for (int block = 0; block < k % 4; ++block) {
        const auto draw = [&] { return lowest + static_cast<int>(random() % static_cast<unsigned>(side)); };
        const int x = draw(), y = draw(), z = draw();
        for (const uint64 rcd : voxelBox(x, y, z, x + 2, y + 1, z + 2)) v.push_back(rcd);
    }
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
    return v;
}

}  // namespace

TEST(Voro, aFlatLayerHasTwoTrianglesAQuadAndOneBorder) {
    constexpr int n = 7, m = 4;
    for (int axis = 0; axis < 3; ++axis) {
        const int x = axis == 0 ? 0 : n - 1, y = axis == 1 ? 0 : axis == 0 ? n - 1 : m - 1, z = axis == 2 ? 0 : m - 1;
        const Extraction e(voxelBox(61, 62, 63, 61 + x, 62 + y, 63 + z));
        EXPECT_EQ(valuesOf(e.mesh()).size(), 5 * 2u * (n - 1) * (m - 1)) << axis;
        EXPECT_EQ(e.numEdges(1), 2u * (n + m - 2)) << axis;
        EXPECT_EQ(e.numEdges(-1), 0u) << axis;
    }
}

// The diagonal of the table runs through the smallest code; the tie goes to the other one.
TEST(Voro, aLoneQuadTakesTheDiagonalOffItsSmallestCell) {
    const Extraction e(voxelBox(64, 64, 64, 65, 65, 64));
    const Codes& v = e.vCCD;
    EXPECT_EQ(e.mesh().getEdge(v[0], v[3]), nullptr);
    ASSERT_NE(e.mesh().getEdge(v[1], v[2]), nullptr);
    EXPECT_EQ(e.mesh().getEdge(v[1], v[2])->getDegree(), 2);
}

// Recorded while the extraction agreed with one told in ordered maps, a corner at a time.
TEST(Voro, extractionAndBorderFixGiveTheRecordedTriangles) {
    std::mt19937 random(1);
    Codes vDigests;
    for (int k = 0; k < 20; ++k) {
        Extraction e(drawCells(random, k));
        Codes vResult = valuesOf(e.mesh());
        for (int round = 0; round < 3; ++round) {
            Codes vVCD, vExtra, vKill;
            for (const uint64 vcd : e.corners())
                if (random() % 3 == 0) vVCD.push_back(vcd);
            e.voro.createExtraCCDs_borderFix(vVCD, vExtra, vKill);
            EXPECT_EQ(e.voro.borderFix(vVCD), &e.mesh());
            if (k % 2 == 0) e.voro.dropCellsWithoutBundle();
            for (const Codes& v : {vExtra, vKill, valuesOf(e.mesh())})
                vResult.insert(vResult.end(), v.begin(), v.end());
            vResult.insert(vResult.end(), e.voro.getCells().begin(), e.voro.getCells().end());
        }
        vDigests.push_back(digest(vResult));
    }
    EXPECT_EQ(vDigests, (Codes{0x8d02015936235c4au, 0x7b06c9be894d64fau, 0x3521d8f64a11e90bu, 0x5b0e557e18551421u,
                               0x8577e8e10601917fu, 0xf428dd3100b43339u, 0x19e9342f63e38c1au, 0x19e8037693ea959u,
                               0x599f6113143b144fu, 0xc4cedc5b58660fe4u, 0xfef5b704262d95e2u, 0x85f5aed6c9968001u,
                               0x5b556d583b1a132au, 0x21514ccee31365bau, 0xca4fd60193dc6e6bu, 0xf48722c1572d6893u,
                               0x39e3c30931b473f0u, 0xad9bd26acac0778eu, 0x6791693b596fb429u, 0xbc0b2f3a3f011704u}));
}

// Two layers of 6x6 cells, where the upper one lacks a cell.
TEST(Voro, aNotchIsProposedWithTheCellAcross) {
    Codes vRCD = voxelBox(100, 100, 100, 105, 105, 101);
    const uint64 notch = packRCD(102, 102, 101);
    std::erase(vRCD, notch);
    Extraction e(vRCD);
    Codes vExtra, vKill;
    e.voro.createExtraCCDs_borderFix({packCCD(103, 103, 101)}, vExtra, vKill);
    EXPECT_EQ(vExtra, Codes{e.calc.rcdToCcd(notch)});
    EXPECT_EQ(vKill, Codes{packCCD(103, 103, 100)});
}

TEST(Voro, aCornerBeyondTheLastOneIsABug) {
    Extraction e(voxelBox(100, 100, 100, 101, 101, 100));
    Codes vExtra, vKill;
    e.voro.createExtraCCDs_borderFix({packCCD(102, 102, 101)}, vExtra, vKill);
    EXPECT_TRUE(vExtra.empty() && vKill.empty());
    EXPECT_TRUE(failsWith("q_it!=vStaticVCD2CCD.end()", [&] { e.voro.borderFix({packCCD(102, 102, 102)}); }));
}

TEST(Voro, theMeshOutlivesItWhenHandedOver) {
    CellSet set(voxelBox(100, 100, 100, 103, 103, 100));
    std::unique_ptr<CMesh> pMesh;
    {
        planVoro();
        Voro voro(&set.calc, &set.cells, TM_FAT);
        EXPECT_EQ(voro.getCMesh(), nullptr);
        voro.fatExtractTriangles();
        pMesh = voro.releaseMesh();
        EXPECT_EQ(voro.borderFix({}), pMesh.get());
        EXPECT_EQ(voro.releaseMesh(), nullptr);
    }
    EXPECT_EQ(valuesOf(*pMesh).size(), 5 * 18u);
}
