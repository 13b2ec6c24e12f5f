#include "formats/ptx.h"

#include <gtest/gtest.h>

#include "formats/readStream.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using zef_test::readBytes;
using zef_test::StreamRead;

namespace {

// The second scan is turned about z by a right angle and moved to (10, 20, 30).
const std::string twoScans =
    "2\n1\n5 6 7\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n"
    "0.5 1.5 2.5 0.25 1 2 300\n0 0 0 0.5 0 0 0\n\n"
    "1\r\n3\r\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n0 1 0 0\n-1 0 0 0\n0 0 1 0\n10 20 30 1\n"
    "1 0 0 0.5\n0 1 0 1\n0 0 1 -1\n";

}  // namespace

TEST(Ptx, movesEachScanAndLeavesOutWhatHasNoReturn) {
    EXPECT_TRUE(isPtx(twoScans));
    EXPECT_FALSE(isPtx("2\n1\n5 6 7\n1 0 0\n0 1 0\n0 0 1\n0 1 0\n"));
    const StreamRead read = readBytes(twoScans, openPtx);
    EXPECT_EQ(read.error, "");
    EXPECT_EQ(read.block.points, std::vector<Point3>({{0.5, 1.5, 2.5}, {10, 21, 30}, {9, 20, 30}, {10, 20, 31}}));
    EXPECT_EQ(read.block.points[0].getColorString(), Point3(0, 0, 0, 1, 2, 255, 255).getColorString());
    EXPECT_FALSE(read.block.points[1].hasColor());
    EXPECT_EQ(read.block.intensities, std::vector<float>({0.25f, 0.5f, 1.f, -1.f}));
    EXPECT_EQ(read.block.viewpoint, Point3(10, 20, 30));
    EXPECT_EQ(read.facts.numScans, 2u);
    EXPECT_EQ(read.facts.numPoints, 5u);
    ASSERT_EQ(read.facts.notes.size(), 1u);
    EXPECT_EQ(read.facts.notes[0].substr(0, 8), "1 point ");
    PointChoice choice;
    choice.scan = 0;
    const StreamRead first = readBytes(twoScans, openPtx, choice);
    EXPECT_EQ(first.block.points.size(), 1u);
    EXPECT_EQ(first.block.viewpoint, Point3(5, 6, 7));
    choice.scan = 2;
    EXPECT_NE(readBytes(twoScans, openPtx, choice).error.find("the last one is scan 1; "), std::string::npos);
}

TEST(Ptx, isTheSameForAnyNumberOfThreadsAndBlocks) {
    std::string text = twoScans.substr(0, twoScans.find("0.5 1.5"));
    text.replace(0, 3, "500\n600");
    for (int i = 0; i < 300000; ++i) text += std::to_string(i) + " -1 0." + std::to_string(i) + " 1 2 3 4\n";
    for (const unsigned numThreads : {1u, 3u}) {
        const ThreadCount threads(numThreads);
        const StreamRead read = readBytes(text, openPtx);
        EXPECT_EQ(read.error, "");
        ASSERT_EQ(read.block.points.size(), 300000u);
        for (int i = 0; i < 300000; ++i) ASSERT_EQ(read.block.points[static_cast<std::size_t>(i)].px, i);
    }
}

TEST(Ptx, deliversWhatStandsBeforeDamage) {
    for (std::size_t i = 0; i < twoScans.size(); ++i) {
        EXPECT_LE(readBytes(twoScans.substr(0, i), openPtx).block.points.size(), 4u);
        std::string damaged = twoScans;
        damaged[i] = static_cast<char>(damaged[i] ^ 9);
        EXPECT_LE(readBytes(damaged, openPtx).block.points.size(), 5u);
    }
    const StreamRead cut = readBytes(twoScans.substr(0, twoScans.rfind("0 0 1 -1")), openPtx);
    EXPECT_EQ(cut.block.points.size(), 3u);
    EXPECT_EQ(cut.error.substr(0, 30), "line 26: 1 points are missing;") << cut.error;
    std::string giant = twoScans;
    giant.replace(0, 3, "4000000000\n4000000000");
    const StreamRead lying = readBytes(giant, openPtx);
    EXPECT_EQ(lying.error.substr(0, 8), "line 13:") << lying.error;
    EXPECT_LT(lying.facts.numPoints, giant.size());
}

TEST(Ptx, readsARealFile) {
    if (zef_test::realFile("").empty()) return;
    const StreamRead read = zef_test::readStream(zef_test::realFile("1.2-with-color.ptx"), openPtx);
    EXPECT_EQ(read.error, "");
    ASSERT_EQ(read.block.points.size(), 1065u);
    EXPECT_EQ(read.block.points[0], Point3(637012.24, 849028.31, 431.66));
    EXPECT_EQ(read.block.points[0].g, 77);
    const auto box = zef_test::boxOf(read.block.points);
    EXPECT_EQ(box.first, Point3(635619.85, 848899.7, 406.59));
    EXPECT_EQ(box.second, Point3(638982.55, 853535.43, 586.38));
}
