#include <gtest/gtest.h>

#include "support/capture.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::printedText;
using zef_test::TempFolder;

namespace {

std::vector<Point3> readText(const std::string& text) {
    const TempFolder folder;
    std::vector<Point3> vPoints = {{9, 9, 9}};
    EXPECT_TRUE(readSTL_ASCII(folder.put("a.stl", text).c_str(), vPoints));
    return vPoints;
}

}  // namespace

TEST(readSTL_ASCII, findsKeywordsInsideLines) {
    const auto vPoints = readText(
        "solid a\n vertex 7 7 7\nfacet normal 0 0 1\r\n  outer loop\r\n vertex 1 2 3\r\n\tvertex +4 -5 6e1 rest\n"
        "nothing\nvertex .5 0 0\nendloop\nendfacet\nOUTER LOOP\nvertex 1 1 1\n endloop\nvertex 8 8 8\nendsolid\n");
    EXPECT_EQ(vPoints, (std::vector<Point3>{{9, 9, 9}, {1, 2, 3}, {4, -5, 60}, {.5, 0, 0}, {1, 1, 1}}));
}

TEST(readSTL_ASCII, capitalsGiveNoCornersAndBadNumbersZeros) {
    EXPECT_EQ(readText("OUTER LOOP\nVERTEX 1 2 3\nENDLOOP\n").size(), 1u);
    EXPECT_EQ(readText("outer loop\nvertex 1 x 3\nvertex\n"), (std::vector<Point3>{{9, 9, 9}, {1, 0, 0}, {0, 0, 0}}));
}

TEST(readSTL_ASCII, noFacetsAreNoFailureButNoFileIs) {
    EXPECT_EQ(readText("").size(), 1u);
    std::vector<Point3> vPoints;
    EXPECT_EQ(printedText([&] { EXPECT_FALSE(readSTL_ASCII("/none/a.stl", vPoints)); }),
              "readSTL(): /none/a.stl is unreadable\n");
}
