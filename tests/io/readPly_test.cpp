#include <gtest/gtest.h>

#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::plyFile;
using zef_test::printedText;
using zef_test::TempFolder;
using zef_test::xyzLines;

namespace {

const std::string rgb = "property uchar red\nproperty uchar green\nproperty uchar blue\n";

class ReadPly : public testing::Test {
protected:
    TempFolder folder;
    std::vector<Point3> vPoints;
    std::string out, err;  // what the last call printed

    bool read(const std::string& bytes, bool bPointsOnly = true) {
        const std::string name = folder.put("a.ply", bytes);
        vPoints.clear();
        bool bRead = false;
        testing::internal::CaptureStderr();
        out = printedText([&] { bRead = readPly(name.c_str(), bPointsOnly, vPoints); });
        err = testing::internal::GetCapturedStderr();
        return bRead;
    }
    // One vertex at (1, 2, 3) with these further properties.
    bool readVertex(const std::string& properties, const std::string& values) {
        return read(plyFile("ascii", "element vertex 1\n" + xyzLines + properties, "1 2 3 " + values + "\n"));
    }
    std::vector<int> color() const {
        if (vPoints.size() != 1 || !vPoints[0].hasColor()) return {};
        return {vPoints[0].r, vPoints[0].g, vPoints[0].b, vPoints[0].a};
    }
};

}  // namespace

TEST_F(ReadPly, writtenPointsComeBackNarrowedAndWithoutColour) {
    std::vector<Point3> vOut = {{0.1, -2, 1e300}, {1, 2, 3, 4, 5, 6, 7}};
    const std::string name = folder.name("b.ply");
    for (const bool bAscii : {true, false}) {
        EXPECT_EQ(printedText([&] { EXPECT_TRUE(writePointsPly(name, vOut, bAscii)); }),
                  "writePointsPly, received 2 points\n");
        EXPECT_TRUE(read(folder.get("b.ply")));
        ASSERT_EQ(vPoints.size(), 2u);
        EXPECT_EQ(vPoints[0], Point3(bAscii ? double{0.1f} : 0.1f, -2, std::numeric_limits<double>::infinity()));
        EXPECT_EQ(vPoints[1], Point3(1, 2, 3));
        EXPECT_FALSE(vPoints[1].hasColor());
    }
    testing::internal::CaptureStderr();
    EXPECT_FALSE(writePointsPly(folder.name("none/a.ply"), vOut, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Can't write " + folder.name("none/a.ply") + "\n");
}

TEST_F(ReadPly, facesGiveTheirCornersInTriples) {
    const std::string head =
        "element vertex 4\n" + xyzLines + "element face 2\nproperty list uchar int vertex_indices\n";
    const std::string corners = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n";
    const Point3 a(0, 0, 0), b(1, 0, 0), c(1, 1, 0), d(0, 1, 0);
    EXPECT_TRUE(read(plyFile("ascii", head, corners + "3 0 1 2\n3 2 3 0\n"), false));
    EXPECT_EQ(vPoints, (std::vector<Point3>{a, b, c, c, d, a}));
    EXPECT_TRUE(read(plyFile("ascii", head, corners + "3 0 1 2\n4 0 1 2 3\n"), false));
    EXPECT_EQ(vPoints, (std::vector<Point3>{a, b, c, a, b, c, a, c, d}));
    for (const char* faces : {"3 0 1 4\n3 0 1 2\n", "3 0 1 2\n3 -1 0 1\n"}) {
        EXPECT_FALSE(read(plyFile("ascii", head, corners + faces), false)) << faces;
        EXPECT_NE(err.find("tinyply exception: face "), std::string::npos) << err;
        EXPECT_TRUE(vPoints.empty());
    }
    EXPECT_TRUE(read(plyFile("ascii", "element vertex 1\n" + xyzLines, "1 2 3\n"), false));
    EXPECT_TRUE(vPoints.empty());
}

TEST_F(ReadPly, appendsAndLeavesThePointsAloneOnFailure) {
    const std::string name = folder.put("b.ply", plyFile("ascii", "element vertex 1\n" + xyzLines, "1 2 3\n"));
    std::vector<Point3> vMore = {{9, 9, 9, 1, 2, 3, 4}};
    EXPECT_TRUE(readPly(name.c_str(), true, vMore));
    EXPECT_EQ(vMore, (std::vector<Point3>{{9, 9, 9}, {1, 2, 3}}));
    EXPECT_TRUE(vMore[0].hasColor());
    const std::string none = folder.name("none.ply");
    const std::string text = printedText([&] { EXPECT_FALSE(readPly(none.c_str(), true, vMore)); });
    EXPECT_NE(text.find("[ZEF Message] readPly, ERROR: " + none + " not read"), std::string::npos) << text;
    EXPECT_EQ(vMore.size(), 2u);
}
