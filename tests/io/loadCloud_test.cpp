#include "io/loadCloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <locale>

#include "support/plyText.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::TempFolder;

namespace {

using Kind = CloudFile::Kind;
using Triangles = std::vector<CloudFile::Triangle>;
using Points = std::vector<Point3>;

class LoadCloud : public testing::Test {
protected:
    TempFolder folder;
    CloudFile cloud;

    bool load(const std::string& file, const std::string& bytes) { return loadCloud(folder.put(file, bytes), cloud); }
    // Colours of all points in a row; -1 for one without.
    std::vector<int> colors() const {
        std::vector<int> v;
        for (const Point3& p : cloud.vPoints) {
            if (p.hasColor()) {
                v.insert(v.end(), {p.r, p.g, p.b, p.a});
            } else {
                v.push_back(-1);
            }
        }
        return v;
    }
    // Fails with an error that names the file and holds this text.
    testing::AssertionResult refuses(const std::string& file, const std::string& bytes, const std::string& text) {
        if (load(file, bytes)) return testing::AssertionFailure() << "was read: " << bytes;
        if (cloud.error.rfind(folder.name(file) + ": ", 0) == 0 && cloud.error.find(text) != std::string::npos &&
            cloud.vPoints.empty())
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << cloud.error;
    }
};

const std::string doubles = "property double x\nproperty double y\nproperty double z\n";

}  // namespace

TEST_F(LoadCloud, plyKeepsColourWithoutAlphaAndPrecision) {
    const std::string rgb = "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty int label\n";
    ASSERT_TRUE(load("a.PLY", plyFile("binary_little_endian", "comment from here\nelement vertex 1\n" + doubles + rgb,
                                      bytesOf(0.1, 637177.98, -3.0) +
                                          bytesOf(std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{255}) + bytesOf(7))));
    EXPECT_EQ(cloud.vPoints, (Points{{0.1, 637177.98, -3}}));
    EXPECT_EQ(colors(), (std::vector<int>{1, 2, 255, 255}));
    EXPECT_TRUE(cloud.bHasColor);
    EXPECT_EQ(cloud.kind, Kind::POINTS);
    EXPECT_EQ(cloud.format, "PLY, little-endian binary");
    EXPECT_EQ(cloud.vComments, std::vector<std::string>{"from here"});
}

TEST_F(LoadCloud, plyColoursOfAnyTypeAreScaled) {
    const auto head = [](const std::string& type) {
        return "element vertex 2\nproperty short x\nproperty short y\nproperty short z\nproperty float nx\nproperty " +
               type + " red\nproperty " + type + " green\nproperty " + type + " blue\n";
    };
    ASSERT_TRUE(load("a.ply", plyFile("ascii", head("float"), "-1 2 3 0 0.5 1 0\n4 5 6 0 nan -1 0.2\n")));
    EXPECT_EQ(cloud.vPoints, (Points{{-1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(colors(), (std::vector<int>{128, 255, 0, 255, 0, 0, 51, 255}));
    ASSERT_TRUE(load("a.ply", plyFile("ascii", head("double"), "1 2 3 0 200 1 0\n4 5 6 0 1e300 0 0\n")));
    EXPECT_EQ(colors(), (std::vector<int>{200, 1, 0, 255, 255, 0, 0, 255}));
    ASSERT_TRUE(load("a.ply", plyFile("ascii", head("ushort"), "1 2 3 0 65535 0 257\n4 5 6 0 0 0 0\n")));
    EXPECT_EQ(colors(), (std::vector<int>{255, 0, 1, 255, 0, 0, 0, 255}));
}

TEST_F(LoadCloud, plyFacesBecomeTriangles) {
    const std::string head = "element vertex 5\n" + doubles + "element face 3\nproperty list uchar uint vertex_index\n";
    const std::string corners = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n5 5 5\n";
    ASSERT_TRUE(load("a.ply", plyFile("ascii", head, corners + "3 2 1 0\n4 0 1 2 3\n2 0 1\n")));
    EXPECT_EQ(cloud.kind, Kind::MESH);
    EXPECT_EQ(cloud.vTriangles, (Triangles{{2, 1, 0}, {0, 1, 2}, {0, 2, 3}}));
    EXPECT_EQ(cloud.numPolygons, 1u);
    EXPECT_EQ(cloud.numDroppedFaces, 1u);
    EXPECT_EQ(cloud.numUnusedVertices, 1u);
    EXPECT_TRUE(refuses("a.ply", plyFile("ascii", head, corners + "3 2 1 0\n3 0 1 5\n2 0 1\n"),
                        "face 2 has the vertex index 5, but the indices end at 4"));
}

TEST_F(LoadCloud, plyErrorsNameThePlace) {
    const std::string head = "element vertex 2\n" + doubles;
    EXPECT_TRUE(refuses("a.ply", plyFile("ascii", head, "1 2 3\n4 five 6\n"), "line 9: \"five\" is not a number"));
    EXPECT_TRUE(refuses("a.ply", plyFile("binary_little_endian", head, "short"), "do not fit into the 5 bytes"));
    EXPECT_TRUE(
        refuses("a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty half x\n", "line 4: invalid ply property"));
    EXPECT_TRUE(refuses("a.ply", "ply\nformat ascii 1.0\nelement vertex -3\n", "line 3: invalid element count"));
    EXPECT_TRUE(refuses("a.ply", "ply\nformat ascii 1.0\n" + head, "no end_header"));
    EXPECT_TRUE(refuses("a.ply", "solid a\n", "line 1: the file does not start with \"ply\""));
    EXPECT_TRUE(refuses("a.ply", plyFile("ascii", "element point 2\n" + doubles, "1 2 3\n"), "no element \"vertex\""));
}

TEST_F(LoadCloud, stlGivesCornersFromTextAndBinary) {
    ASSERT_TRUE(load("a.stl",
                     "SOLID a\nFACET NORMAL 0 0 1\nOUTER LOOP\nVERTEX 0 0 0\nVERTEX 1 0 0\nVERTEX 0 1 0.1\nENDLOOP\n"
                     "ENDFACET\nENDSOLID\n"));
    EXPECT_EQ(cloud.kind, Kind::CORNERS);
    EXPECT_EQ(cloud.vPoints, (Points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0.1}}));
    EXPECT_EQ(cloud.numSkippedLines, 0u);

    std::string binary = "solid that is none";
    binary.resize(80, ' ');
    binary += bytesOf(1u) + bytesOf(0.f, 0.f, 1.f) + bytesOf(1.f, 2.f, 3.f, 4.f, 5.f, 6.f, 7.f, 8.f, 9.5f) + "ab";
    ASSERT_TRUE(load("a.stl", binary));
    EXPECT_EQ(cloud.vPoints, (Points{{1, 2, 3}, {4, 5, 6}, {7, 8, 9.5}}));
    EXPECT_EQ(cloud.format, "STL, binary");

    binary[0] = 'x';
    EXPECT_TRUE(refuses("a.stl", binary.substr(0, 101), "byte 80: 1 triangles announced"));
    const std::string text = "solid a\nfacet\nouter loop\nvertex 0 0 0\n";
    EXPECT_TRUE(refuses("a.stl", text + "vertex 0 x 0\n", "line 5: expected \"vertex x y z\""));
    EXPECT_TRUE(refuses("a.stl", text + "endloop\n", "line 5: a facet of 1 corners"));
    EXPECT_TRUE(refuses("a.stl", text, "ends inside a facet"));
    EXPECT_TRUE(refuses("a.stl", "solid\nendsolid\n", "no facets"));
}

TEST_F(LoadCloud, objReadsVerticesColoursAndFaces) {
    ASSERT_TRUE(load("a.obj",
                     "# made by hand\nmtllib a.mtl\nf 1/1/1 2//2 3/3\nv 0 0 0 1 0.5 0\nv 1 0 0 0 0 0\nv 1 1 0 0 0 0\n"
                     "vn 0 0 1\nv 0 1 0\nv 5 5 5\r\nf -5 -4 \\\n -3 -2 # quad\nf 1 2\n"));
    EXPECT_EQ(cloud.vPoints, (Points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {5, 5, 5}}));
    EXPECT_EQ(colors(), (std::vector<int>{255, 128, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, -1, -1}));
    EXPECT_EQ(cloud.vTriangles, (Triangles{{0, 1, 2}, {0, 1, 2}, {0, 2, 3}}));
    EXPECT_EQ(cloud.numUnusedVertices, 1u);
    EXPECT_EQ(cloud.numDroppedFaces, 1u);
    EXPECT_TRUE(
        refuses("a.obj", "v 0 0 0\nv 1 0 0\nf 1 2 3\nf 1 2 1\n", "line 3: face 1 has vertex 3, but the file has 2"));
    EXPECT_TRUE(refuses("a.obj", "v 0 0 0\nf 1 1 1\nf 1 -2 1\n", "line 3: face 2 has vertex -2"));
    EXPECT_TRUE(refuses("a.obj", "v 0 0 0\nf 1 0 1\n", "line 2: face 1 has no number"));
    EXPECT_TRUE(refuses("a.obj", "v 0 0\n", "line 1: expected \"v x y z\""));
    EXPECT_TRUE(refuses("a.obj", "o nothing\n", "no vertices"));
}

TEST_F(LoadCloud, offReadsItsKinds) {
    ASSERT_TRUE(load("a.off", "OFF # kind\n3 1 0\n\n0 0 0\n1 0 0 # second\n0 1 0\n3 0 1 2 255 0 0\n"));
    EXPECT_EQ(cloud.vTriangles, (Triangles{{0, 1, 2}}));
    EXPECT_EQ(cloud.vPoints.size(), 3u);
    ASSERT_TRUE(load("a.off", "CNOFF 1 0 0\n1 2 3 0 0 1 10 20 30 40\n"));
    EXPECT_EQ(colors(), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(cloud.kind, Kind::POINTS);
    EXPECT_TRUE(
        refuses("a.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", "line 6: face 1 needs 3 vertices from 0 to 2"));
    EXPECT_TRUE(refuses("a.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n", "ends before all vertices and faces"));
    EXPECT_TRUE(refuses("a.off", "OFF BINARY\n3 1 0\n", "this kind of OFF"));
    EXPECT_TRUE(refuses("a.off", "OFF\n900000 1 0\n0 0 0\n", "line 2: "));
}

TEST_F(LoadCloud, textListsTakeBlanksCommasAndSemicolons) {
    const Points expected = {{1, 2, 3}, {4, -5, 6.5}};
    for (const char* text : {"1 2 3\n4 -5 6.5\n", "1,2,3\r\n4,-5,6.5\r\n", "1; 2;3\n4;-5 ;6.5",
                             "\xEF\xBB\xBF"
                             "1\t2\t3\n+4 -5 6.5 text\n",
                             "x,y,z\n# note\n1, 2, 3\n4, -5, 6.5\n"}) {
        ASSERT_TRUE(load("a.csv", text)) << cloud.error;
        EXPECT_EQ(cloud.vPoints, expected) << text;
        EXPECT_FALSE(cloud.bHasColor);
    }
    EXPECT_EQ(cloud.numHeaderLines, 2u);
    ASSERT_TRUE(load("a.xyz", "1 2 3\n\nrubbish\n1 2\n4 nan 6\n"));
    EXPECT_EQ(cloud.numSkippedLines, 2u);
    ASSERT_EQ(cloud.vPoints.size(), 2u);
    EXPECT_TRUE(std::isnan(cloud.vPoints[1].py));
    EXPECT_TRUE(refuses("a.csv", "x;y;z\n1,5;2,5;3,5\n", "line 2: commas beside blanks or semicolons"));
    EXPECT_TRUE(refuses("a.xyz", "1,5 2,5 3,5\n", "line 1: commas beside blanks or semicolons"));
    EXPECT_TRUE(refuses("a.xyz", "hello\n", "no line starts with three numbers"));
    EXPECT_TRUE(refuses("a.xyz", std::string("1 2 3\n\0\0", 8), "byte 6: the file is not plain text"));
}

TEST_F(LoadCloud, textColoursAreWholeNumbersOnAllLines) {
    ASSERT_TRUE(load("a.xyz", "1 2 3 255 0 7\n1 2 3 0 0 0\n"));
    EXPECT_EQ(colors(), (std::vector<int>{255, 0, 7, 255, 0, 0, 0, 255}));
    for (const char* text : {"1 2 3 255 0 7\n1 2 3\n", "1 2 3 255 0 7\n1 2 3 0 256 0\n",
                             "1 2 3 10 10 10\n1 2 3 0.5 1 1\n", "1 2 3 0 0 1\n4 5 6 0 0 1\n"}) {
        ASSERT_TRUE(load("a.xyz", text));
        EXPECT_EQ(colors(), (std::vector<int>{-1, -1})) << text;
    }
    ASSERT_TRUE(load("a.pts", "2\n1 2 3 -200 9 8 7\n4 5 6 100 6 5 4\n"));
    EXPECT_EQ(colors(), (std::vector<int>{9, 8, 7, 255, 6, 5, 4, 255}));
    EXPECT_EQ(cloud.numHeaderLines, 1u);
}

TEST_F(LoadCloud, namedColumnsAreTakenByTheirNames) {
    ASSERT_TRUE(load("a.csv", "\"id\";\"X\";\"Y\";\"Z\";\"blue\";\"green\";\"red\"\n1;10;20;30;3;2;1\n"));
    EXPECT_EQ(cloud.vPoints, (Points{{10, 20, 30}}));
    EXPECT_EQ(colors(), (std::vector<int>{1, 2, 3, 255}));
    ASSERT_TRUE(load("a.txt", "//X Y Z Intensity\n1 2 3 4 5 6\n"));
    EXPECT_EQ(colors(), (std::vector<int>{-1}));
}

TEST_F(LoadCloud, binaryListsMustHoldTheirPoints) {
    const std::string head = bytesOf(std::int32_t{20}) + bytesOf(std::int64_t{2});
    ASSERT_TRUE(load("a.bin", head + bytesOf(1.0, 2.0, 3.0, 4.0)));
    EXPECT_EQ(cloud.vPoints, (Points{{1, 2, 0}, {3, 4, 0}}));
    EXPECT_TRUE(refuses("a.bin", head + bytesOf(1.0, 2.0, 3.0), "byte 4: 2 points announced"));
    EXPECT_TRUE(refuses("a.bin", "short", "shorter than the header"));
}

TEST_F(LoadCloud, tellsWhatItCannotOpen) {
    EXPECT_TRUE(refuses("a.ply", "", "the file is empty"));
    EXPECT_TRUE(refuses("a.las", "LASF", "unknown ending \".las\""));
    EXPECT_TRUE(refuses("noending", "1 2 3\n", "unknown ending \"\""));
    EXPECT_FALSE(loadCloud(folder.name("none.ply"), cloud));
    EXPECT_NE(cloud.error.find("No such file"), std::string::npos) << cloud.error;
    std::filesystem::create_directory(folder.path / "folder.xyz");
    EXPECT_FALSE(loadCloud(folder.name("folder.xyz"), cloud));
}
