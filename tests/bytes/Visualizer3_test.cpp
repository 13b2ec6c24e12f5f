#include "bytes/Visualizer3.h"

#include <gtest/gtest.h>

#include "support/capture.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::TempFolder;

namespace {

std::string writtenBy(const Visualizer3& visualizer) {
    const TempFolder folder;
    EXPECT_TRUE(visualizer.write(folder.name("a.list")));
    return folder.get("a.list");
}

}  // namespace

// 0--1   Two triangles on a square share the diagonal 0 3.
// | \|
// 2--3
TEST(Visualizer3, sharesCornersAmongTriangles) {
    const Point3 p0(0, 1, 0), p1(1, 1, 0), p2(0, 0, 0.1), p3(1, 0, 0);
    Visualizer3 visualizer;
    visualizer.addTriangles(std::vector<Point3>{p0, p3, p1, p3, p0, p2});
    EXPECT_EQ(writtenBy(visualizer), "LIST\n{ OFF\n4 2 0\n0 1 0\n1 0 0\n1 1 0\n0 0 0.1\n3 0 1 2\n3 1 0 3\n}\n");
}

TEST(Visualizer3, keepsColoursAndCornersThatDifferInThem) {
    Point3 red(0, 0, 0, 255, 85, 51, 255), plain(0, 0, 0), far(1, 2, 3);
    Visualizer3 visualizer;
    visualizer.addTriangles(std::vector<Point3*>{&red, &plain, &far});
    EXPECT_EQ(writtenBy(visualizer),
              "LIST\n{ COFF\n3 1 0\n0 0 0 1 0.333333 0.2 1\n0 0 0 0.8 0.8 0.8 1\n1 2 3 0.8 0.8 0.8 1\n3 0 1 2\n}\n");
}

TEST(Visualizer3, drawsPointsAndEdgesAsVectors) {
    Visualizer3 visualizer;
    visualizer.addPoints(std::vector<Point3>{{1, 2, 3}, {4, 5, 6}}, {1.f, 0.f, 0.5f});
    visualizer.addEdges({{Point3(0, 0, 0), Point3(0, 0, 1)}});
    visualizer.addPoints(std::vector<Point3>());
    EXPECT_EQ(writtenBy(visualizer),
              "LIST\n{ VECT\n2 2 1\n1 1 \n1 0\n1 2 3\n4 5 6\n 1 0 0.5 1\n}\n"
              "{ VECT\n1 2 1\n2 \n1\n0 0 0\n0 0 1\n 0.8 0.8 0.8 1\n}\n");
}

TEST(Visualizer3, cubesAreClosedAndLookOutwards) {
    Visualizer3 visualizer;
    visualizer.addCube({1, 1, 1}, {3, 4, 5});
    EXPECT_EQ(
        writtenBy(visualizer),
        "LIST\n{ OFF\n8 6 0\n1 1 1\n3 1 1\n1 4 1\n3 4 1\n1 1 5\n3 1 5\n1 4 5\n3 4 5\n4 0 2 3 1\n4 4 5 7 6\n4 0 1 5 4\n"
        "4 2 6 7 3\n4 0 4 6 2\n4 1 3 7 5\n}\n");
}

TEST(Visualizer3, tellsThatAFileCouldNotBeWritten) {
    const std::string text = zef_test::printedText([] { EXPECT_FALSE(Visualizer3().write("/none/a.list")); });
    EXPECT_NE(text.find("/none/a.list can't be written"), std::string::npos) << text;
}
