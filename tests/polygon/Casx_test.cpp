#include "polygon/Casx.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

#include "bytes/Visualizer3.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// Where a cell stands in the block, 0 or 1 along each axis.
constexpr int offsets[8][3] = {{0, 0, 1}, {1, 0, 1}, {1, 0, 0}, {0, 0, 0}, {0, 1, 1}, {1, 1, 1}, {1, 1, 0}, {0, 1, 0}};

}  // namespace

// Recorded while the rows were those of the base cases, turned, with the diagonals of
// flat quads unified.
TEST(Casx, theFinishedAndTheExpandedTableAreTheRecordedOne) {
    const auto expectRecorded = [](const Casx& casx) {
        const std::array<uint64, 8> codes = {10, 11, 12, 13, 14, 15, 16, 17};
        std::vector<uint64> vRows, vTriangles, vMissing;
        int numMissing = 0;
        for (int config = 0; config < 256; ++config) {
            for (int slot = 0; slot < 12 && casx.getMask(config, slot) <= 255; ++slot)
                vRows.insert(vRows.end(), {uint64(config), uint64(slot), uint64(casx.getMask(config, slot)),
                                           uint64(casx.getUse(config, slot))});
            for (const TriUse use : {TUT, TUU}) casx.getTriangles(config, codes.data(), vTriangles, use);
            vMissing.insert(vMissing.end(),
                            {uint64(casx.getMissingMask(config)), uint64(casx.getOppositeMask(config))});
            numMissing += casx.getMissingMask(config) != 0;
        }
        EXPECT_EQ(numMissing, 36);  // 8 configs of seven cells, 28 of six
        EXPECT_EQ(digest(vRows), 0x4ac47fc82eec72eau);
        EXPECT_EQ(digest(vTriangles), 0xf44d7ba9c05f8a5u);
        EXPECT_EQ(digest(vMissing), 0x11b01f28a115f125u);
    };
    expectRecorded(Casx(TM_FAT, false));
    EXPECT_NE(printedText([&] { expectRecorded(Casx(TM_FAT, true)); }), "");
}

TEST(Casx, theThinTableIsTheRecordedOne) {
    const Casx casx(TM_THIN, false);
    const std::array<uint64, 8> codes = {10, 11, 12, 13, 14, 15, 16, 17};
    std::vector<uint64> vTriangles;
    for (int config = 0; config < 256; ++config) casx.getTriangles(config, codes.data(), vTriangles, TUT);
    EXPECT_EQ(vTriangles.size() % 3, 0u);
    EXPECT_EQ(digest(vTriangles), 0x9c79819db63ee325u);
}

// Two corners that are neighbours along an axis share four cells: where both have
// triangles among these, they must be the same ones.
TEST(Casx, neighbouringBlocksAgreeOnTheirCommonFace) {
    const Casx casx(TM_FAT, false);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
        for (int filling = 0; filling < 4096; ++filling) {
            std::set<std::set<uint64>> shared[2];
            for (int corner = 0; corner < 2; ++corner) {
                int config = 0;
                uint64 positions[8];
                for (int cell = 0; cell < 8; ++cell) {
                    const auto* o = offsets[cell];
                    const int position = (corner + o[axis]) * 4 + o[u] * 2 + o[v];
                    positions[cell] = uint64(position);
                    config |= (filling >> position & 1) << cell;
                }
                std::vector<uint64> vTri;
                casx.getTriangles(config, positions, vTri, TUT);
                for (std::size_t t = 0; t < vTri.size(); t += 3) {
                    const std::set<uint64> triple(&vTri[t], &vTri[t] + 3);
                    if (std::ranges::all_of(triple, [](uint64 p) { return p / 4 == 1; })) shared[corner].insert(triple);
                }
            }
            if (shared[0].empty() || shared[1].empty()) continue;
            EXPECT_EQ(shared[0], shared[1]) << axis << " " << filling;
        }
    }
}

// Config 90: four cells as cubes of 8 vertices, four as points, and four triangles over them.
TEST(Casx, aConfigIsShownWithItsCellsAndTriangles) {
    const TempFolder folder;
    Visualizer3 visualizer;
    const Casx casx(TM_FAT, false);
    EXPECT_EQ(printedText([&] { casx.showConfig(90, &visualizer, "four", 63); }), "showConfig 90 four\n");
    ASSERT_TRUE(visualizer.write(folder.name("a.list")));
    const std::string text = folder.get("a.list"), cube = "{ OFF\n8 6 0\n";
    std::size_t numCubes = 0;
    for (std::size_t at = text.find(cube); at != std::string::npos; at = text.find(cube, at + 1)) ++numCubes;
    EXPECT_EQ(numCubes, 4u);
    EXPECT_NE(text.find("{ VECT\n"), std::string::npos);
    EXPECT_NE(text.find("{ COFF\n4 4 0\n"), std::string::npos);
    const Casx neither(static_cast<TriMode>(2), false);
    EXPECT_TRUE(failsWith("false", [&] { neither.showConfig(90, &visualizer, "four", 63); }));
}

TEST(Casx, diagonalsAreForTrianglesOnly) {
    int triangle = 11, pair = 12, none = 256;
    EXPECT_FALSE(casx::samePlaneUnify(triangle, none));
    EXPECT_NE(failureText([&] { casx::samePlaneUnify(pair, triangle); }).find("Ah, cfgA=12\n"), std::string::npos);
    EXPECT_TRUE(failsWith("vVtxB.size()%3==0", [&] { casx::samePlaneUnify(triangle, pair); }));
}

TEST(Casx, configOfACornerSumsTheBitsOfItsCells) {
    uint64 codes[8] = {0, 0, 0, 0, 0, 63};
    Calc(0, 0, 0, 100, 100, 100, 10).getCellsAroundVCD(codes);
    for (int config = 0; config < 256; ++config) {
        std::vector<uint64> vCCD;
        for (int cell = 0; cell < 8; ++cell)
            if (config >> cell & 1) vCCD.push_back(codes[cell]);
        EXPECT_EQ(getCornerConfig(63, vCCD), config);
    }
}
