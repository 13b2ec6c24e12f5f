#include "io/meshFormats.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "bytes/FileBytes.h"
#include "io/STL.h"
#include "io/loadCloud.h"
#include "io/plyMesh.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "support/capture.h"
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

const char* const vEndings[] = {".ply", ".obj", ".stl", ".off"};

}  // namespace

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

TEST(writePly, leavesDeadTrianglesOutAndWritesNoMeshToo) {
    const TempFolder folder;
    RMesh mesh = square();
    mesh.getTriangle(0)->kill(&mesh);
    ASSERT_TRUE(PLY::writePly(flatten(mesh, VertexOrder::FIRST_USE), folder.name("a.ply"), true));
    EXPECT_NE(folder.get("a.ply").find("element vertex 3\n"), std::string::npos);
    mesh.getTriangle(1)->kill(&mesh);
    ASSERT_TRUE(PLY::writePly(flatten(mesh, VertexOrder::FIRST_USE), folder.name("a.ply"), true));
    EXPECT_NE(folder.get("a.ply").find("element vertex 0\n"), std::string::npos);
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
    EXPECT_THROW(writeMeshFile(folder.name("a.glb"), bad, {}), MeshFileError);
    EXPECT_EQ(folder.get("a.glb"), "old");
    EXPECT_EQ(folder.numFiles(), 1u);
    WriteMeshOptions precise;
    precise.bDouble = true;
    EXPECT_THROW(writeMeshFile(folder.name("a.glb"), flat, precise), MeshFileError);
    EXPECT_THROW(writeMeshFile(folder.name("b.stl"), flat, precise), MeshFileError);
    EXPECT_EQ(folder.numFiles(), 1u);
}

TEST(MeshWriters, comeBackThroughTheReader) {
    const TempFolder folder;
    const TriangleMesh flat = coloredSheet();
    for (const std::string ending : vEndings) {
        for (const bool bText : {false, true}) {
            WriteMeshOptions options;
            options.bText = bText;
            writeMeshFile(folder.name("a" + ending), flat, options);
            MeshFile file;
            std::string error;
            ASSERT_TRUE(readMeshFile(folder.name("a" + ending), {}, file, error)) << error;
            const TriangleMesh& back = file.mesh;
            ASSERT_EQ(back.numTriangles(), flat.numTriangles()) << ending;
            ASSERT_EQ(back.vertices.size(), flat.vertices.size()) << ending;
            for (std::size_t i = 0; i < flat.indices.size(); ++i) {
                const Point3& before = flat.vertices[flat.indices[i]];
                const Point3& after = back.vertices[back.indices[i]];
                EXPECT_LT((before - after).length(), 1e-6) << ending;
                EXPECT_EQ(after.hasColor(), ending != ".stl");
                if (ending == ".stl") continue;
                EXPECT_EQ(after.getColorString(), before.getColorString()) << ending;
            }
        }
    }
}

TEST(MeshWriters, keepDoublesAndSubtractTheOffset) {
    const TempFolder folder;
    TriangleMesh flat = coloredSheet();
    for (Point3& p : flat.vertices) p.set(p.px + 4e6 + 0.1, p.py, p.pz);
    for (const std::string ending : {".ply", ".obj", ".off"}) {
        WriteMeshOptions options;
        options.bDouble = true;
        options.vComments = {"two\nlines"};
        MeshFile file;
        std::string error;
        writeMeshFile(folder.name("a" + ending), flat, options);
        ASSERT_TRUE(readMeshFile(folder.name("a" + ending), {}, file, error)) << error;
        EXPECT_EQ(file.mesh.vertices, flat.vertices) << ending;

        options.bDouble = false;
        options.offset = {4e6, 0, -0.5};
        writeMeshFile(folder.name("a" + ending), flat, options);
        CloudFile cloud;
        ASSERT_TRUE(loadCloud(folder.name("a" + ending), cloud));
        EXPECT_NEAR(cloud.vPoints[1].px, 0.2, 1e-7) << ending;
        ASSERT_EQ(cloud.vComments.size(), 2u) << ending;
        EXPECT_NE(cloud.vComments[0].find("offset 4e+06 0 -0.5"), std::string::npos) << cloud.vComments[0];
        EXPECT_NE(cloud.vComments[1].find("two lines"), std::string::npos);
    }
}

TEST(writeGlb, describesWhatItsBufferHolds) {
    const TempFolder folder;
    WriteMeshOptions options;
    options.offset = {1, 0, 0};
    const TriangleMesh flat = coloredSheet();
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

TEST(readMeshFile, mergesPositionsAndLeavesOutWhatRepeatsOne) {
    const TempFolder folder;
    const std::string facet = "facet normal 0 0 0\nouter loop\n";
    const std::string end = "endloop\nendfacet\n";
    const std::string stl = "solid a\n" + facet + "vertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n" + end + facet +
                            "vertex -0.0 0 0\nvertex 0 1 0\nvertex 0 0 1\n" + end + "endsolid\n";
    MeshFile file;
    const TriangleMesh& mesh = file.mesh;
    std::string error;
    ASSERT_TRUE(readMeshFile(folder.put("a.stl", stl), {}, file, error)) << error;
    EXPECT_EQ(mesh.vertices.size(), 4u);
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3}));

    const std::string off = "OFF\n4 2 0\n0 0 0\n1 0 0\n0 1 0\n0 0 0\n3 0 1 2\n3 3 2 1\n";
    ASSERT_TRUE(readMeshFile(folder.put("a.off", off), {}, file, error)) << error;
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 3, 2, 1}));
    ReadMeshOptions merging;
    merging.bMergeEqual = true;
    ASSERT_TRUE(readMeshFile(folder.name("a.off"), merging, file, error)) << error;
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 1}));

    const std::string pinched = "OFF\n4 2 0\n0 0 0\n2 0 0\n0 0 0\n0 1 0\n3 0 1 2\n3 0 1 3\n";
    ASSERT_TRUE(readMeshFile(folder.put("a.off", pinched), merging, file, error)) << error;
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2}));
    EXPECT_EQ(file.numSkipped, 1u);
    EXPECT_DOUBLE_EQ(file.meanSideLength, (7.0 + std::sqrt(5.0)) / 6.0);
}

TEST(readMeshFile, refusesWhatIsNoMesh) {
    const TempFolder folder;
    const auto errorOf = [&](const std::string& name, const std::string& text) {
        MeshFile file;
        std::string error;
        EXPECT_FALSE(readMeshFile(folder.put(name, text), {}, file, error));
        return error;
    };
    const auto has = [](const std::string& text, const char* part) { return text.find(part) != std::string::npos; };
    const std::string square = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    EXPECT_TRUE(has(errorOf("a.obj", square + "f 1 2 3\nf 1 2 4\n"), "face 2"));
    EXPECT_TRUE(has(errorOf("a.obj", square + "v 0 nan 0\nf 1 2 3\nf 1 4 3\n"), "vertex 4 of triangle 2"));
    EXPECT_TRUE(has(errorOf("a.obj", square), "no triangles"));
    EXPECT_TRUE(has(errorOf("a.xyz", "0 0 0\n"), "unknown ending"));
}
