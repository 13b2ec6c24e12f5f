#include "io/loadCloud.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

#include "support/loadedFile.h"
#include "support/plyText.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::TempFolder;

namespace {

using Points = std::vector<Point3>;

class LoadCloud : public testing::Test {
protected:
    TempFolder folder;
    zef_test::LoadedFile cloud;

    bool load(const std::string& file, const std::string& bytes) { return cloud.load(folder.put(file, bytes)); }
    // Fails with an error that names the file and holds this text.
    testing::AssertionResult refuses(const std::string& file, const std::string& bytes, const std::string& text) {
        if (load(file, bytes)) return testing::AssertionFailure() << "was read: " << bytes;
        if (cloud.error.rfind(folder.name(file) + ": ", 0) == 0 && cloud.error.find(text) != std::string::npos &&
            cloud.points.empty())
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << cloud.error;
    }
};

const std::string doubles = "property double x\nproperty double y\nproperty double z\n";

}  // namespace

TEST_F(LoadCloud, textListsTakeBlanksCommasAndSemicolons) {
    const Points expected = {{1, 2, 3}, {4, -5, 6.5}};
    for (const char* text : {"1 2 3\n4 -5 6.5\n", "1,2,3\r\n4,-5,6.5\r\n", "1; 2;3\n4;-5 ;6.5",
                             ("\xEF\xBB\xBF"
                              "1\t2\t3\n+4 -5 6.5 text\n"),
                             "x,y,z\n# note\n1, 2, 3\n4, -5, 6.5\n"}) {
        ASSERT_TRUE(load("a.csv", text)) << cloud.error;
        EXPECT_EQ(cloud.points, expected) << text;
        EXPECT_FALSE(cloud.hasColor);
    }
    EXPECT_EQ(cloud.numHeaderLines, 2u);
    ASSERT_TRUE(load("a.xyz", "1 2 3\n\nrubbish\n1 2\n4 nan 6\n"));
    EXPECT_EQ(cloud.numSkippedLines, 2u);
    ASSERT_EQ(cloud.points.size(), 2u);
    EXPECT_TRUE(std::isnan(cloud.points[1].py));
}

TEST_F(LoadCloud, coloursMayHaveSixteenBitsOrBeShares) {
    const int none = -1;
    const std::tuple<const char*, std::string, int> cases[] = {
        {"a.xyz", "0 0 0 65535 300 32768\n1 1 1 0 0 0\n", 0xff0180},
        {"a.xyz", "0 0 0 1200 1 1\n", none},
        {"a.xyz", "0 0 0 1 0.5 0.1\n", 0xff801a},
        {"a.xyz", "0 0 0 1 0.5 0.1 7\n", none},
        {"a.xyz", "0 0 0 1 0.5 0.1\n1 1 1 2 0.5 0\n", none},
        {"a.pts", "0 0 0 -99 1 0.5 0.1\n", 0xff801a},
        {"a.csv", "x,y,z,r,g,b,label\n0,0,0,1,0.5,0.1,7\n", 0xff801a},
        {"a.csv", "x,y,z,r,g,b\n0,0,0,300,0,65535\n", 0x0100ff}};
    for (const auto& [file, bytes, rgb] : cases) {
        ASSERT_TRUE(load(file, bytes)) << cloud.error;
        const Point3& p = cloud.points[0];
        EXPECT_EQ(p.hasColor() ? p.r << 16 | p.g << 8 | p.b : none, rgb) << bytes;
        EXPECT_TRUE(cloud.normals.empty()) << bytes;
    }
}

TEST_F(LoadCloud, normalsStandBesideTheirPoints) {
    const std::string head =
        "element vertex 2\n" + doubles + "property float nx\nproperty float ny\nproperty char nz\n";
    const std::tuple<const char*, std::string, std::vector<Vector3>> cases[] = {
        {"a.ply", plyFile("ascii", head, "1 2 3 0.5 nan 1\n4 5 6 0.5 -2 3\n"), {{0, 0, 0}, {0.5, -2, 3}}},
        {"a.ply", plyFile("ascii", head, "1 2 3 0 0 0\n4 5 6 0 0 0\n"), {}},
        {"a.xyz", "1 2 3 0 0 1\n4 5 6 0.6 -0.8 0\n", {{0, 0, 1}, {0.6, -0.8, 0}}},
        {"a.xyz", "1 2 3 0 0 1\n4 5 6 0.6 -0.81 0\n", {}},
        {"a.xyz", "1 2 3 0 0 1 9\n4 5 6 0.6 -0.8 0 9\n", {}},
        {"a.txt", "// NX NY NZ X Y Z\n0 0 2 1 2 3\n", {{0, 0, 2}}},
        {"a.txt", "x y z nx ny nz\n1 2 3 0 0 2\n4 5 6\n", {{0, 0, 2}, {0, 0, 0}}}};
    for (const auto& [file, bytes, vNormals] : cases) {
        ASSERT_TRUE(load(file, bytes)) << cloud.error;
        ASSERT_EQ(cloud.normals.size(), vNormals.size()) << bytes;
        for (std::size_t i = 0; i < vNormals.size(); ++i)
            EXPECT_EQ((Point3() + cloud.normals[i]), (Point3() + vNormals[i])) << bytes;
        EXPECT_EQ(cloud.points[0], Point3(1, 2, 3));
        EXPECT_FALSE(cloud.hasColor);
    }
}

// Sanitizers see what goes wrong here: the first list has no place for its corners yet.
TEST_F(LoadCloud, facesMayBeEmpty) {
    const std::string head = "element vertex 1\nproperty uchar x\nproperty uchar y\nproperty uchar z\n";
    const std::string list = "element face 1\nproperty list uchar uint vertex_indices\n";
    ASSERT_TRUE(load("a.ply", plyFile("binary_little_endian", head + list, std::string(4, '\0'))));
    EXPECT_EQ(cloud.numDroppedFaces, 1u);
}

TEST_F(LoadCloud, takesTheFirstViewpointOfThreeFiniteNumbers) {
    for (const auto& [lines, x] :
         {std::pair("comment ViewPoint 1 -2.5 3e1 0 0 0 1\ncomment viewpoint 9 9 9\n", 1.0),
          {"comment viewpoint nan 0 0\ncomment viewpoint 1 2\nobj_info VIEWPOINT 7 0 0\n", 7.0},
          {"comment viewpoints 1 2 3\ncomment viewpoint 1e999 0 0\n", 0.0}}) {
        ASSERT_TRUE(load("a.ply", plyFile("ascii", lines + ("element vertex 1\n" + doubles), "1 2 3\n")));
        EXPECT_EQ(cloud.viewpoint.value_or(Point3()).px, x) << lines;
    }
}

TEST_F(LoadCloud, errorsNameThePlace) {
    const std::string head = "element vertex 2\n" + doubles, ply = "ply\nformat ascii 1.0\n";
    const std::string faces = "element face 2\nproperty list uchar uint vertex_index\n", two = "1 2 3\n4 5 6\n";
    const std::string facet = "solid a\nfacet\nouter loop\nvertex 0 0 0\n", off = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n";
    const std::string bin = bytesOf(std::int32_t{20}) + bytesOf(std::int64_t{2}) + bytesOf(1.0, 2.0, 3.0);
    const std::array<std::string, 3> cases[] = {
        {"a.ply", plyFile("ascii", head, "1 2 3\n4 five 6\n"), "line 9: \"five\" is not a number"},
        {"a.ply", plyFile("ascii", head + faces, two + "3 1 1 0\n3 0 1 5\n"),
         "face 2 has the vertex index 5, but the indices end at 1"},
        {"a.ply", plyFile("binary_little_endian", head, "short"), "do not fit into the 5 bytes"},
        {"a.ply", ply + "element vertex 1\nproperty half x\n", "line 4: invalid ply property"},
        {"a.ply", ply + "element vertex -3\n", "line 3: invalid element count"},
        {"a.ply", ply + head, "no end_header"},
        {"a.ply", "solid a\n", "line 1: the file does not start with \"ply\""},
        {"a.ply", plyFile("ascii", "element point 2\n" + doubles, "1 2 3\n"), "no element \"vertex\""},
        {"a.ply", "", "the file is empty"},
        {"a.stl", std::string(80, 'x') + bytesOf(1u) + "ab", "byte 80: 1 triangles announced"},
        {"a.stl", facet + "vertex 0 x 0\n", "line 5: expected \"vertex x y z\""},
        {"a.stl", facet + "endloop\n", "line 5: a facet of 1 corners"},
        {"a.stl", facet, "ends inside a facet"},
        {"a.stl", "solid\nendsolid\n", "no facets"},
        {"a.obj", "v 0 0 0\nv 1 0 0\nf 1 2 3\nf 1 2 1\n", "line 3: face 1 has vertex 3, but the file has 2"},
        {"a.obj", "v 0 0 0\nf 1 1 1\nf 1 -2 1\n", "line 3: face 2 has vertex -2"},
        {"a.obj", "v 0 0 0\nf 1 0 1\n", "line 2: face 1 has no number"},
        {"a.obj", "v 0 0\n", "line 1: expected \"v x y z\""},
        {"a.obj", "o nothing\n", "no vertices"},
        {"a.off", off + "3 0 1 3\n", "line 6: face 1 needs 3 vertices from 0 to 2"},
        {"a.off", off, "ends before all vertices and faces"},
        {"a.off", "OFF BINARY\n3 1 0\n", "this kind of OFF"},
        {"a.off", "OFF\n900000 1 0\n0 0 0\n", "line 2: "},
        {"a.csv", "x;y;z\n1,5;2,5;3,5\n", "line 2: commas beside blanks or semicolons"},
        {"a.xyz", "1,5 2,5 3,5\n", "line 1: commas beside blanks or semicolons"},
        {"a.xyz", "hello\n", "no line starts with three numbers"},
        {"a.xyz", std::string("1 2 3\n\0\0", 8), "line 2: the file is not plain text"},
        {"a.bin", bin, "byte 4: 2 points announced"},
        {"a.bin", "short", "shorter than the header"},
        {"a.zip", "PK", "unknown ending \".zip\""},
        {"noending", "1 2 3\n", "unknown ending \"\""}};
    for (const auto& [file, bytes, text] : cases) EXPECT_TRUE(refuses(file, bytes, text));
    EXPECT_FALSE(cloud.load(folder.name("none.ply")));
    EXPECT_NE(cloud.error.find("No such file"), std::string::npos) << cloud.error;
    std::filesystem::create_directory(folder.path / "folder.xyz");
    EXPECT_FALSE(cloud.load(folder.name("folder.xyz")));
}
