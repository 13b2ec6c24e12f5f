#include "polygon/Voro.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "frame/Progress.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/voxels.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Codes = std::vector<uint64>;
// Corners, grid corner and config of a triangle.
using Record = std::array<uint64, 5>;

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
    std::size_t numEdges(int degree) const {
        std::vector<CEdge*> vEdges;
        mesh().getDegN(degree, vEdges);
        return vEdges.size();
    }
};

std::vector<Record> recordsOf(const CMesh& mesh) {
    std::vector<Record> vRecords;
    mesh.forEachTriangle([&](const CTriangle* pT) {
        vRecords.push_back(
            {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2), pT->vcd, static_cast<uint64>(pT->config)});
    });
    return vRecords;
}

// The extraction as it is told: ordered maps, one look-up after the other.
class SlowExtraction {
public:
    explicit SlowExtraction(const Calc& calc_) : calc(calc_) {}

    std::map<uint64, std::set<uint64>> cornersOf(const std::set<uint64>& sCCD) const {
        std::map<uint64, std::set<uint64>> mVCD2CCD;
        for (const uint64 ccd : sCCD) {
            uint64 codes[8] = {ccd};
            calc.getVCDsOfCCD(codes);
            for (const uint64 vcd : codes) mVCD2CCD[vcd].insert(ccd);
        }
        return mVCD2CCD;
    }

    // All triangles in order of making, duplicates included.
    const std::vector<Record>& make(const std::set<uint64>& sCCD) {
        vRecords.clear();
        mTriangles.clear();
        std::vector<std::pair<Codes, Record>> vQuads;
        for (const auto& [vcd, sCells] : cornersOf(sCCD)) {
            if (sCells.size() < 3 || sCells.size() > 7) continue;
            const int config = getCornerConfig(vcd, Codes(sCells.begin(), sCells.end()));
            uint64 codes[8] = {0, 0, 0, 0, 0, vcd};
            calc.getCellsAroundVCD(codes);
            Codes vTri;
            casx.getTriangles(config, codes, vTri, TUT);
            const Record stem = {0, 0, 0, vcd, static_cast<uint64>(config)};
            if (std::set<int>{15, 51, 102, 153, 204, 240}.count(config)) {
                vQuads.emplace_back(vTri, stem);
                continue;
            }
            for (std::size_t t = 0; t < vTri.size(); t += 3) createUnlessThere(vTri[t], vTri[t + 1], vTri[t + 2], stem);
        }
        for (const auto& [vTri, stem] : vQuads) solveQuad(vTri, stem);
        return vRecords;
    }
    std::size_t getNumMade() const { return vRecords.size(); }
    // By sorted corners, the first one made of each.
    std::vector<Record> extract(const std::set<uint64>& sCCD) {
        std::map<std::set<uint64>, Record> mFirst;
        for (const Record& r : make(sCCD)) mFirst.emplace(setOf(r), r);
        std::vector<Record> vOut;
        for (const auto& entry : mFirst) vOut.push_back(entry.second);
        return vOut;
    }

private:
    static std::set<uint64> setOf(const Record& r) { return {r[0], r[1], r[2]}; }

    void create(uint64 a, uint64 b, uint64 c, Record stem) {
        std::copy_n(std::array{a, b, c}.begin(), 3, stem.begin());
        for (const auto& edge : {std::minmax({a, b}), std::minmax({b, c}), std::minmax({a, c})}) {
            mTriangles[edge].insert({a, b, c});
        }
        vRecords.push_back(stem);
    }
    bool has(uint64 a, uint64 b) const { return mTriangles.count(std::minmax({a, b})) > 0; }
    void createUnlessThere(uint64 a, uint64 b, uint64 c, const Record& stem) {
        if (!has(a, b) || !mTriangles.at(std::minmax({a, b})).count({a, b, c})) create(a, b, c, stem);
    }
    void solveQuad(const Codes& vTri, const Record& stem) {
        Codes v(vTri.begin(), vTri.begin() + 3);
        for (const uint64 other : vTri) {
            if (std::find(v.begin(), v.end(), other) == v.end()) v.push_back(other);
        }
        ASSERT_EQ(v.size(), 4u);
        if (calc.getNeigType(v[3], v[0]) != NT_EDGE) std::swap(v[0], v[1]);
        if (calc.getNeigType(v[3], v[0]) != NT_EDGE) std::swap(v[0], v[2]);
        ASSERT_EQ(calc.getNeigType(v[3], v[0]), NT_EDGE);
        if (has(v[1], v[2])) {
            createUnlessThere(v[1], v[2], v[0], stem, {v[0], v[1], v[2]});
            createUnlessThere(v[1], v[2], v[3], stem, {v[2], v[1], v[3]});
        } else {
            createUnlessThere(v[0], v[3], v[1], stem, {v[0], v[1], v[3]});
            createUnlessThere(v[0], v[3], v[2], stem, {v[0], v[3], v[2]});
        }
    }
    void createUnlessThere(uint64 a, uint64 b, uint64 c, const Record& stem, const std::array<uint64, 3>& order) {
        if (!has(a, b) || !mTriangles.at(std::minmax({a, b})).count({a, b, c})) {
            create(order[0], order[1], order[2], stem);
        }
    }
    const Calc& calc;
    const Casx casx{TM_FAT, false};
    std::vector<Record> vRecords;
    std::map<std::pair<uint64, uint64>, std::set<std::set<uint64>>> mTriangles;  // by edge
};

// Random cells, some of them in full blocks, off a block boundary of any size.
Codes drawCells(std::mt19937& random, int k) {
    const int lowest = 1021 + k % 5, side = 3 + k % 6;
    Codes v = randomCells(random, lowest, side, 0.1 + 0.11 * (k % 9));
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
        EXPECT_EQ(recordsOf(e.mesh()).size(), 2u * (n - 1) * (m - 1)) << axis;
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

TEST(Voro, extractionAgreesWithTheSlowModel) {
    std::mt19937 random(1);
    std::size_t numTriangles = 0;
    for (int k = 0; k < 60; ++k) {
        const Extraction e(drawCells(random, k));
        SlowExtraction slow(e.calc);
        const std::vector<Record> vExpected = slow.extract({e.vCCD.begin(), e.vCCD.end()});
        EXPECT_EQ(recordsOf(e.mesh()), vExpected) << k;
        EXPECT_EQ(e.mesh().getNumTriangles(), slow.getNumMade()) << k;
        numTriangles += vExpected.size();
    }
    EXPECT_GT(numTriangles, 1000u);
}

// What comes and goes is what was proposed, or was added, has collapsed and is
// dropped; of such cells nothing is left.
TEST(Voro, borderFixChangesProposedCellsOnlyAgainAndAgain) {
    std::mt19937 random(3);
    std::size_t numAdded = 0, numKilled = 0, numLost = 0;
    for (int k = 0; k < 40; ++k) {
        Extraction e(drawCells(random, k));
        std::set<uint64> sAdded;  // these may collapse in a later round, too
        for (int round = 0; round < 3; ++round) {
            const std::set<uint64> sBefore(e.voro.getCells().begin(), e.voro.getCells().end());
            const std::size_t numLostBefore = numLost;
            Codes vVCD, vExtra, vKill;
            for (const auto& [vcd, sCells] : SlowExtraction(e.calc).cornersOf(sBefore)) {
                if (sCells.size() >= 5 && random() % 3 == 0) vVCD.push_back(vcd);
            }
            std::shuffle(vVCD.begin(), vVCD.end(), random);
            e.voro.createExtraCCDs_borderFix(vVCD, vExtra, vKill);
            EXPECT_EQ(e.voro.borderFix(vVCD), &e.mesh());
            if (k % 2 == 0) e.voro.dropCellsWithoutBundle();
            const std::set<uint64> sNow(e.voro.getCells().begin(), e.voro.getCells().end());
            const auto has = [](const Codes& v, uint64 ccd) { return std::binary_search(v.begin(), v.end(), ccd); };
            sAdded.insert(vExtra.begin(), vExtra.end());
            for (const uint64 ccd : vExtra) ++(sNow.count(ccd) ? numAdded : numLost);
            EXPECT_TRUE(k % 2 == 0 || numLost == numLostBefore);
            for (const uint64 ccd : sNow) EXPECT_TRUE(sBefore.count(ccd) || has(vExtra, ccd));
            for (const uint64 ccd : sBefore) {
                if (sNow.count(ccd)) continue;
                EXPECT_TRUE(has(vKill, ccd) || sAdded.count(ccd));
                numKilled += has(vKill, ccd);
            }
            for (const Record& r : recordsOf(e.mesh())) {
                for (std::size_t i = 0; i < 3; ++i) ASSERT_TRUE(sNow.count(r[i]) && e.cells.get(r[i]));
            }
        }
    }
    EXPECT_GT(numAdded, 3u);
    EXPECT_GT(numKilled, 10u);
    EXPECT_GT(numLost, 10u);
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
    EXPECT_EQ(recordsOf(*pMesh).size(), 18u);
}
