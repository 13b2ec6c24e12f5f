#include "io/meshFormats.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>

#include "bytes/FileBytes.h"
#include "io/STL.h"
#include "io/plyMesh.h"
#include "io/saveCloud.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "support/capture.h"
#include "support/loadedFile.h"
#include "support/plyText.h"
#include "support/shapes.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using nlohmann::json;
using zef_test::bytesOf;
using zef_test::TempFolder;

namespace {

// Two triangles on a square of four vertices, of which the last is used first and one is not used.
RMesh square() {
    const std::vector<Point3> vVertices = {{9, 9, 9}, {0, 0, 0.25, 1, 2, 3, 4}, {1, 0, 0}, {1, 1, 0}, {0, 1, 1e7 + 1}};
    return RMesh(vVertices, {4, 1, 2, 4, 2, 3}, 1.0);
}

TriangleMesh coloredSheet() {
    const zef_test::Shape sheet = zef_test::gridSheet(4, 3, 0.1);
    TriangleMesh mesh{sheet.vertices, sheet.triples};
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i)
        mesh.vertices[i].setColor(static_cast<std::uint8_t>(20 * i), 0, 255, 255);
    return mesh;
}

}  // namespace

TEST(writeMesh, normalsComeBackFromWhatHoldsThem) {
    const TempFolder folder;
    const zef_test::Shape ball = zef_test::icosphere(3);
    WriteOptions options;
    options.normals = true;
    for (const char* const name : {"a.ply", "a.glb", "text.ply"}) {
        options.text = name == std::string("text.ply");
        writeMeshFile(folder.name(name), {ball.vertices, ball.triples}, options);
        const PointFile file = zef_test::loadCloud(folder.name(name));
        ASSERT_EQ(file.points.size(), ball.vertices.size()) << name;
        ASSERT_EQ(file.normals.size(), file.points.size()) << name;
        for (std::size_t i = 0; i < file.points.size(); ++i)
            EXPECT_LT((file.normals[i] - (file.points[i] - Point3())).length(), 0.02) << name;
    }
    // Those of OBJ stand there for others.
    const Point3 a(0, 0, 0), b(2, 0, 0), c(0, 0, 2);
    writeMeshFile(folder.name("a.obj"), {{a, b, c}, {0, 1, 2}}, options);
    EXPECT_EQ(folder.get("a.obj"), "v 0 0 0\nv 2 0 0\nv 0 0 2\nvn 0 -1 0\nvn 0 -1 0\nvn 0 -1 0\nf 1//1 2//2 3//3\n");
    for (const char* const name : {"a.stl", "a.off"})
        EXPECT_THROW(writeMeshFile(folder.name(name), {ball.vertices, ball.triples}, options), ArgumentError) << name;
}

TEST(writePly, numbersVerticesByFirstUse) {
    const TempFolder folder;
    RMesh mesh = square();
    ASSERT_TRUE(PLY::writePly(flatten(mesh, VertexOrder::FIRST_USE), folder.name("a.ply"), true));
    const std::string header =
        "element vertex 4\nproperty float x\nproperty float y\nproperty float z\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n"
        "element face 2\nproperty list uchar uint vertex_indices\n";
    EXPECT_EQ(folder.get("a.ply"),
              zef_test::plyFile("ascii", header,
                                "0 1 1e+07 0 0 0 0 \n0 0 0.25 1 2 3 4 \n1 0 0 0 0 0 0 \n1 1 0 0 0 0 0 \n"
                                "3 0 1 2 \n3 0 2 3 \n"));
    ASSERT_TRUE(PLY::writePly(flatten(mesh, VertexOrder::FIRST_USE), folder.name("b.ply"), false));
    std::string body;
    body += bytesOf(0.f, 1.f, 10000001.f, 0u) + bytesOf(0.f, 0.f, 0.25f) + std::string("\1\2\3\4");
    body += bytesOf(1.f, 0.f, 0.f, 0u) + bytesOf(1.f, 1.f, 0.f, 0u);
    body += "\3" + bytesOf(0u, 1u, 2u) + "\3" + bytesOf(0u, 2u, 3u);
    EXPECT_TRUE(folder.get("b.ply") == zef_test::plyFile("binary_little_endian", header, body));
}

TEST(writeSTL, writesTheTextThatReadersKnow) {
    const TempFolder folder;
    RMesh mesh({{0, 0, 0}, {1, 0, 0}, {0, 1.0 / 3, 0}, {2, 0, 0}}, {0, 1, 2, 0, 1, 3}, 1.0);
    ASSERT_TRUE(writeSTL(flatten(mesh, VertexOrder::FIRST_USE), folder.name("a.stl")));
    EXPECT_EQ(folder.get("a.stl"),
              "solid - ZEF\nfacet normal 0 0 1\n outer loop\n  vertex 0 0 0\n  vertex 1 0 0\n"
              "  vertex 0 0.3333333333 0\n endloop\nendfacet\nfacet normal 0 0 0\n outer loop\n"
              "  vertex 0 0 0\n  vertex 1 0 0\n  vertex 2 0 0\n endloop\nendfacet\nendsolid - ZEF\n");
}

TEST(MeshWriters, leaveWhatStoodThereWhenTheyFail) {
    RMesh mesh = square();
    EXPECT_NE(zef_test::printedText([&] {
                  EXPECT_FALSE(PLY::writePly(flatten(mesh, VertexOrder::FIRST_USE), "/none/a.ply", true));
              }).find("Failed, filename=/none/a.ply"),
              std::string::npos);
    EXPECT_NE(zef_test::printedText([&] {
                  EXPECT_FALSE(writeSTL(flatten(mesh, VertexOrder::FIRST_USE), "/none/a.stl"));
              }).find("Failed to open /none/a.stl"),
              std::string::npos);
    const TriangleMesh flat = coloredSheet();
    for (const char* ending : {".ply", ".obj", ".stl", ".off", ".glb"})
        EXPECT_ANY_THROW(writeMeshFile(std::string("/none/a") + ending, flat, {})) << ending;
    EXPECT_ANY_THROW(writeMeshFile("/tmp/a.xyz", flat, {}));

    // What fails half way leaves the old file and nothing else.
    const TempFolder folder;
    folder.put("a.glb", "old");
    TriangleMesh bad = flat;
    bad.vertices[3].pz = 1e300;
    EXPECT_THROW(writeMeshFile(folder.name("a.glb"), bad, {}), FileError);
    EXPECT_EQ(folder.get("a.glb"), "old");
    EXPECT_EQ(folder.numFiles(), 1u);
    WriteOptions precise;
    precise.precision = Precision::DOUBLE;
    EXPECT_THROW(writeMeshFile(folder.name("a.glb"), flat, precise), ArgumentError);
    EXPECT_THROW(writeMeshFile(folder.name("b.stl"), flat, precise), ArgumentError);
    EXPECT_EQ(folder.numFiles(), 1u);
}

// Without colour in .stl, as doubles where asked, less the offset.
TEST(MeshWriters, comeBackThroughTheReader) {
    const TempFolder folder;
    TriangleMesh flat = coloredSheet();
    for (Point3& p : flat.vertices) p.set(p.px + 4e6 + 0.1, p.py, p.pz);
    WriteOptions precise, moved, text;
    precise.precision = Precision::DOUBLE;
    moved.offset = text.offset = {4e6, 0, -0.5};
    moved.comments = {"two\nlines"};
    text.text = true;
    for (const std::string ending : {".ply", ".obj", ".stl", ".off"}) {
        const std::string name = folder.name("a" + ending);
        for (const WriteOptions& options : {precise, moved, text}) {
            const bool bDouble = options.precision == Precision::DOUBLE;
            if (bDouble && ending == ".stl") continue;
            writeMeshFile(name, flat, options);
            const TriangleMesh back = zef_test::loadMesh(name);
            ASSERT_EQ(back.vertices.size(), flat.vertices.size()) << ending;
            ASSERT_EQ(back.numTriangles(), flat.numTriangles()) << ending;
            for (std::size_t i = 0; i < flat.indices.size(); ++i) {
                const Point3 &before = flat.vertices[flat.indices[i]], &after = back.vertices[back.indices[i]];
                const auto& offset = options.offset;
                const Point3 expected(before.px - offset.vx, before.py - offset.vy, before.pz - offset.vz);
                EXPECT_LE((expected - after).length(), bDouble ? 0.0 : 1e-6) << ending;
                EXPECT_EQ(after.getColorString(),
                          ending == ".stl" ? Point3().getColorString() : before.getColorString());
            }
        }
        writeMeshFile(name, flat, moved);
        const PointFile cloud = zef_test::loadCloud(name);
        if (ending == ".stl") continue;
        ASSERT_EQ(cloud.comments.size(), 2u) << ending;
        EXPECT_NE(cloud.comments[0].find("offset 4e+06 0 -0.5"), std::string::npos) << cloud.comments[0];
        EXPECT_NE(cloud.comments[1].find("two lines"), std::string::npos);
    }
}

TEST(Precision, changesWhereFloatsLoseAThousandthOfTheSpacing) {
    const TempFolder folder;
    TriangleMesh flat = coloredSheet();
    for (Point3& p : flat.vertices) p.px += 10;
    for (const std::string ending : {".ply", ".obj", ".off", ".stl", ".glb"}) {
        for (const double share : {0.00099, 0.00101}) {
            WriteOptions options;
            options.spacing = 0x1p-21 / share;  // half a unit of the floats from 8 to 16
            const bool bShifts = share > 0.001 && !hasDoubles(ending);
            WriteResult result;
            const std::string text =
                zef_test::printedText([&] { result = writeMeshFile(folder.name("a" + ending), flat, options); });
            EXPECT_NE(text.empty(), bShifts) << text;
            EXPECT_EQ(result.doubles, share > 0.001 && hasDoubles(ending)) << ending;
            EXPECT_EQ(result.offset.vx, bShifts ? 10.2 : 0.0) << ending;
            options.precision = result.doubles ? Precision::DOUBLE : Precision::SINGLE;
            options.offset = result.offset;
            writeMeshFile(folder.name("b" + ending), flat, options);
            EXPECT_TRUE(folder.get("a" + ending) == folder.get("b" + ending)) << ending;
        }
    }
}

TEST(Precision, writesWhatIsBeyondFloatsAsDoubles) {
    const TempFolder folder;
    TriangleMesh far = coloredSheet();
    for (Point3& p : far.vertices) p.px *= 1e300;
    for (const double spacing : {0.0, 1.0, std::numeric_limits<double>::infinity()}) {
        WriteOptions options;
        options.spacing = spacing;
        EXPECT_TRUE(writeMeshFile(folder.name("a.ply"), far, options).doubles) << spacing;
    }
}

TEST(Precision, keepsProjectedCoordinates) {
    const TempFolder folder;
    TriangleMesh flat = coloredSheet();
    renumberVertices(flat, VertexOrder::FIRST_USE);
    for (Point3& p : flat.vertices) p.set(p.px + 500000.001, p.py + 5000000.002, p.pz + 100.003);
    for (const std::string ending : {".ply", ".obj", ".off", ".stl", ".glb"}) {
        WriteResult result;
        zef_test::printedText([&] { result = writeMeshFile(folder.name("a" + ending), flat, {}); });
        std::vector<Point3> vBack;
        if (ending == ".glb") {
            const std::string file = folder.get("a.glb");
            const char* p = file.data() + 28 + loadValue<std::uint32_t>(file.data() + 12);
            for (std::size_t i = 0; i < flat.vertices.size(); ++i, p += 12)
                vBack.emplace_back(loadValue<float>(p), loadValue<float>(p + 4), loadValue<float>(p + 8));
        } else {
            vBack = zef_test::loadMesh(folder.name("a" + ending)).vertices;
        }
        ASSERT_EQ(vBack.size(), flat.vertices.size()) << ending;
        for (std::size_t i = 0; i < vBack.size(); ++i)
            EXPECT_LT((vBack[i] + result.offset - flat.vertices[i]).length(), hasDoubles(ending) ? 1e-9 : 1e-7)
                << ending;
    }
}

TEST(Precision, ofPointsLooksPastLostEchoes) {
    const TempFolder folder;
    std::vector<Point3> vPoints = zef_test::gridSheet(40, 40, 0.1).vertices;
    EXPECT_FALSE(saveCloud(folder.name("a.ply"), plyCloud, {vPoints}, {}).doubles);
    for (Point3& p : vPoints) p.set(p.px + 4000, p.py, p.pz);
    vPoints[0] = {0, 0, 0};
    EXPECT_TRUE(saveCloud(folder.name("a.ply"), plyCloud, {vPoints}, {}).doubles);
    EXPECT_EQ(zef_test::loadCloud(folder.name("a.ply")).points, vPoints);
}

TEST(writeGlb, describesWhatItsBufferHolds) {
    const TempFolder folder;
    WriteOptions options;
    options.offset = {1, 0, 0};
    TriangleMesh flat = coloredSheet();
    renumberVertices(flat, VertexOrder::FIRST_USE);
    writeMeshFile(folder.name("a.glb"), flat, options);
    const std::string file = folder.get("a.glb");
    const auto word = [&](std::size_t at) { return loadValue<std::uint32_t>(file.data() + at); };
    EXPECT_EQ(file.substr(0, 4), "glTF");
    EXPECT_EQ(word(4), 2u);
    ASSERT_EQ(word(8), file.size());
    ASSERT_EQ(file.substr(16, 4), "JSON");
    const std::size_t jsonBytes = word(12), binary = 28 + jsonBytes;
    EXPECT_EQ(jsonBytes % 4, 0u);
    const json doc = json::parse(file.substr(20, jsonBytes));
    EXPECT_EQ(file.substr(binary - 4, 4), std::string("BIN\0", 4));
    ASSERT_EQ(word(binary - 8), file.size() - binary);
    EXPECT_EQ(doc["buffers"][0]["byteLength"], file.size() - binary);
    EXPECT_EQ(doc["asset"]["extras"]["offset"], json({1.0, 0.0, 0.0}));
    EXPECT_EQ(doc["nodes"][0]["translation"], json({1.0, 0.0, 0.0}));

    const json& primitive = doc["meshes"][0]["primitives"][0];
    const auto dataOf = [&](const json& accessor, std::size_t bytesEach) {
        const json& view = doc["bufferViews"][accessor["bufferView"].get<std::size_t>()];
        EXPECT_EQ(view["byteLength"], accessor["count"].get<std::size_t>() * bytesEach);
        return binary + view["byteOffset"].get<std::size_t>();
    };
    const json& positions = doc["accessors"][primitive["attributes"]["POSITION"].get<std::size_t>()];
    EXPECT_EQ(positions["count"], flat.vertices.size());
    EXPECT_EQ(positions["min"][0].get<float>(), -1.f);
    EXPECT_EQ(positions["max"][1].get<float>(), 0.2f);
    EXPECT_EQ(loadValue<float>(file.data() + dataOf(positions, 12) + 12), -0.9f);
    const json& colors = doc["accessors"][primitive["attributes"]["COLOR_0"].get<std::size_t>()];
    const std::size_t lastColor = dataOf(colors, 8) + 8 * (flat.vertices.size() - 1);
    // 220 of 255 is 71.6 % of the light.
    EXPECT_NEAR(loadValue<std::uint16_t>(file.data() + lastColor) / 65535.0, 0.716, 0.001);
    EXPECT_EQ(loadValue<std::uint16_t>(file.data() + lastColor + 2), 0);
    EXPECT_EQ(loadValue<std::uint16_t>(file.data() + lastColor + 4), 65535);
    const json& indices = doc["accessors"][primitive["indices"].get<std::size_t>()];
    const std::size_t at = dataOf(indices, 4);
    for (std::size_t i = 0; i < flat.indices.size(); ++i) EXPECT_EQ(word(at + 4 * i), flat.indices[i]);

    writeMeshFile(folder.name("none.glb"), TriangleMesh(), {});
    EXPECT_FALSE(json::parse(folder.get("none.glb").substr(20)).contains("meshes"));
}

TEST(readMeshFile, mergesPositionsWhereFilesHaveNoVertices) {
    const TempFolder folder;
    const std::string facet = "facet normal 0 0 0\nouter loop\n";
    const std::string end = "endloop\nendfacet\n";
    const std::string stl = "solid a\n" + facet + "vertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n" + end + facet +
                            "vertex -0.0 0 0\nvertex 0 1 0\nvertex 0 0 1\n" + end + "endsolid\n";
    TriangleMesh mesh = zef_test::loadMesh(folder.put("a.stl", stl));
    EXPECT_EQ(mesh.vertices.size(), 4u);
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3}));

    const std::string off = "OFF\n4 2 0\n0 0 0\n1 0 0\n0 1 0\n0 0 0\n3 0 1 2\n3 3 2 1\n";
    mesh = zef_test::loadMesh(folder.put("a.off", off));
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 3, 2, 1}));
    ReadMeshOptions merging;
    merging.mergeEqual = true;
    mesh = zef_test::loadMesh(folder.name("a.off"), merging);
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 1}));

    const std::string pinched = "OFF\n4 2 0\n0 0 0\n2 0 0\n0 0 0\n0 1 0\n3 0 1 2\n3 0 1 3\n";
    const std::string text =
        zef_test::printedText([&] { mesh = zef_test::loadMesh(folder.put("a.off", pinched), merging); });
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2}));
    EXPECT_NE(text.find("1 triangles with a corner twice"), std::string::npos) << text;
}
