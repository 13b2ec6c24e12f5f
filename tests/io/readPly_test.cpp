#include <gtest/gtest.h>

#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::printedText;
using zef_test::TempFolder;

namespace {

const std::string xyz = "property float x\nproperty float y\nproperty float z\n";
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
        return read(plyFile("ascii", "element vertex 1\n" + xyz + properties, "1 2 3 " + values + "\n"));
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

TEST_F(ReadPly, coloursNeedAlphaOrIntensity) {
    EXPECT_TRUE(readVertex(rgb, "10 20 30"));
    EXPECT_TRUE(color().empty());
    EXPECT_TRUE(readVertex(rgb + "property uchar alpha\n", "10 20 30 40"));
    EXPECT_EQ(color(), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_TRUE(readVertex(rgb + "property float scalar_Intensity\n", "10 20 30 77.9"));
    EXPECT_EQ(color(), (std::vector<int>{10, 20, 30, 77}));
    EXPECT_TRUE(readVertex("property uchar alpha\n" + rgb + "property double nx\n", "40 10 20 30 0.5"));
    EXPECT_EQ(color(), (std::vector<int>{10, 20, 30, 40}));
}

TEST_F(ReadPly, coloursOfOtherTypesKeepTheirLowByte) {
    const std::string floats = "property float red\nproperty float green\nproperty float blue\nproperty uchar alpha\n";
    EXPECT_TRUE(readVertex(floats, "0.9 0.5 0.1 255"));
    EXPECT_EQ(color(), (std::vector<int>{0, 0, 0, 255}));
    // 1 is the largest, so it stands for 255, and alpha goes along.
    EXPECT_TRUE(readVertex(floats, "1 0.5 0.1 2"));
    EXPECT_EQ(color(), (std::vector<int>{255, 0, 0, 510 - 256}));
    EXPECT_TRUE(readVertex(floats, "nan inf -1e30 7"));
    EXPECT_EQ(color(), (std::vector<int>{0, 0, 0, 7}));
    const std::string ints = "property int red\nproperty int green\nproperty int blue\nproperty int alpha\n";
    EXPECT_TRUE(readVertex(ints, "257 -1 100 5"));
    EXPECT_EQ(color(), (std::vector<int>{1, 255, 100, 5}));
    const std::string shorts = "property short red\nproperty short green\nproperty short blue\n";
    EXPECT_FALSE(readVertex(shorts, "1 2 3"));
    EXPECT_NE(out.find("readPly, ERROR: unsupported type in "), std::string::npos) << out;
    EXPECT_TRUE(vPoints.empty());
}

TEST_F(ReadPly, coordinatesOfTypeIntAreUnsigned) {
    const std::string ints = "element vertex 1\nproperty int x\nproperty int y\nproperty int z\n";
    EXPECT_TRUE(read(plyFile("ascii", ints, "-1 2 3\n")));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{4294967295.0, 2, 3}}));
    EXPECT_TRUE(read(plyFile("binary_big_endian", ints, std::string("\0\0\0\1\0\0\1\0\xff\xff\xff\xfe", 12))));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{1, 256, 4294967294.0}}));
    EXPECT_FALSE(
        read(plyFile("ascii", "element vertex 1\nproperty uint x\nproperty uint y\nproperty uint z\n", "1 2 3")));
    EXPECT_NE(out.find("unsupported type in "), std::string::npos);
}

TEST_F(ReadPly, facesGiveTheirCornersInTriples) {
    const std::string head = "element vertex 4\n" + xyz + "element face 2\nproperty list uchar int vertex_indices\n";
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
    EXPECT_TRUE(read(plyFile("ascii", "element vertex 1\n" + xyz, "1 2 3\n"), false));
    EXPECT_TRUE(vPoints.empty());
}

// Lists are read as the header says, with the faces standing first.
TEST_F(ReadPly, otherIndexTypesAndOrdersWork) {
    const std::string head = "element face 1\nproperty list int uchar vertex_indices\nelement vertex 3\n" + xyz;
    std::string body = bytesOf(3) + bytesOf(std::uint8_t{2}, std::uint8_t{1}, std::uint8_t{0});
    for (float i = 0; i < 3; ++i) body += bytesOf(i, i, i);
    const std::string file = plyFile("binary_little_endian", head, body);
    EXPECT_TRUE(read(file, false));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{2, 2, 2}, {1, 1, 1}, {0, 0, 0}}));
    EXPECT_TRUE(read(file, true));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}));
}

TEST_F(ReadPly, coloursOfVerticesAreNotThoseOfCorners) {
    const std::string head = "element vertex 4\n" + xyz + rgb +
                             "property uchar alpha\nelement face 1\nproperty list uchar int vertex_indices\n";
    const std::string row = "0 0 0 1 2 3 4\n";
    EXPECT_TRUE(read(plyFile("ascii", head, row + row + row + row + "3 0 1 2\n"), false));
    EXPECT_NE(out.find("readPly, WARNING: numPoints=3, numColors=4 colors not used"), std::string::npos) << out;
    ASSERT_EQ(vPoints.size(), 3u);
    EXPECT_FALSE(vPoints[0].hasColor());
}

TEST_F(ReadPly, appendsAndLeavesThePointsAloneOnFailure) {
    const std::string name = folder.put("b.ply", plyFile("ascii", "element vertex 1\n" + xyz, "1 2 3\n"));
    std::vector<Point3> vMore = {{9, 9, 9, 1, 2, 3, 4}};
    EXPECT_TRUE(readPly(name.c_str(), true, vMore));
    EXPECT_EQ(vMore, (std::vector<Point3>{{9, 9, 9}, {1, 2, 3}}));
    EXPECT_TRUE(vMore[0].hasColor());
    const std::string none = folder.name("none.ply");
    const std::string text = printedText([&] { EXPECT_FALSE(readPly(none.c_str(), true, vMore)); });
    EXPECT_NE(text.find("[ZEF Message] readPly, ERROR: " + none + " not read"), std::string::npos) << text;
    EXPECT_EQ(vMore.size(), 2u);
}

TEST_F(ReadPly, carriageReturnsAreBlanksAndNoVerticesAreNoFailure) {
    EXPECT_TRUE(
        read("ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty float x\r\nproperty double y\r\n"
             "property float z\r\nend_header\r\n1 0.1 3\r\n"));
    EXPECT_EQ(vPoints, (std::vector<Point3>{{1, 0.1, 3}}));
    EXPECT_TRUE(read(plyFile("ascii", "element vertex 0\n" + xyz + rgb + "property uchar alpha\n", "")));
    EXPECT_TRUE(vPoints.empty());
}
