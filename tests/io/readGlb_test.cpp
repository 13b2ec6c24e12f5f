#include <gtest/gtest.h>

#include "flat/arrays.h"
#include "io/meshFormats.h"
#include "support/loadedFile.h"
#include "support/plyText.h"
#include "support/shapes.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::TempFolder;

namespace {

std::string toBase64(const std::string& bytes) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i)
            value =
                2 * value + (i < 8 * bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) >> (7 - i % 8) & 1u : 0);
        text += digits[value];
    }
    return text;
}

// A square as a strip of four corners, its normals and bytes of colour, and points; one of the two
// nodes that show them lies below the other.
std::string sceneText() {
    const std::string square = bytesOf(0.f, 0.f, 0.f, 1.f, 0.f, 0.f) + bytesOf(0.f, 1.f, 0.f, 1.f, 1.f, 0.f);
    std::string normals, colors;
    for (int i = 0; i < 4; ++i) normals += bytesOf(0.f, 0.6f, 0.8f);
    for (int i = 0; i < 4; ++i) colors += "\xff\x37" + std::string(1, '\0') + "\x80";
    const std::string bytes = std::string("\0\1\2\3", 4) + square + normals + colors;
    const std::string views =
        R"({"buffer":0,"byteLength":4},{"buffer":0,"byteOffset":4,"byteLength":48,"byteStride":12},)"
        R"({"buffer":0,"byteOffset":52,"byteLength":64})";
    return R"({"asset":{"version":"2.0","extras":{"offset":[7,7,7]}},"scene":0,"scenes":[{"nodes":[1]}],"nodes":[)"
           R"({"mesh":0,"rotation":[0,0,0.70710678118654757,0.70710678118654757],"scale":[1,2,-1]},)"
           R"({"mesh":1,"children":[0],"translation":[10,0,0]}],"meshes":[{"primitives":[{"mode":5,"indices":0,)"
           R"("attributes":{"POSITION":1,"NORMAL":2,"COLOR_0":3}}]},{"primitives":[{"mode":0,"attributes":)"
           R"({"POSITION":4}},{"mode":1,"attributes":{"POSITION":4}}]}],"bufferViews":[)" +
           views +
           R"(],"accessors":[)"
           R"({"bufferView":0,"componentType":5121,"count":4,"type":"SCALAR"},)"
           R"({"bufferView":1,"componentType":5126,"count":4,"type":"VEC3"},)"
           R"({"bufferView":2,"componentType":5126,"count":4,"type":"VEC3"},)"
           R"({"bufferView":2,"byteOffset":48,"componentType":5121,"normalized":true,"count":4,"type":"VEC4"},)"
           R"({"bufferView":1,"byteOffset":12,"componentType":5126,"count":1,"type":"VEC3"}],"buffers":[{"byteLength":)" +
           std::to_string(bytes.size()) + R"(,"uri":"data:application/octet-stream;base64,)" + toBase64(bytes) +
           R"("}]})";
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string errorOf(const std::string& path) {
    zef_test::LoadedFile file;
    file.load(path);
    return file.error;
}

}  // namespace

TEST(readGlb, givesBackWhatWasWritten) {
    const TempFolder folder;
    const zef_test::Shape sheet = zef_test::gridSheet(32, 32, 0.125);
    TriangleMesh mesh{sheet.vertices, sheet.triples};
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(i);
        mesh.vertices[i].setColor(byte, static_cast<std::uint8_t>(255 - byte), 7, 255);
        mesh.vertices[i].px += 4e6;
    }
    renumberVertices(mesh, VertexOrder::FIRST_USE);
    WriteOptions options;
    options.offset = {4e6, 0, 0};
    options.normals = true;
    const std::string path = folder.name("a.glb");
    writeMeshFile(path, mesh, options);
    const PointFile back = zef_test::loadCloud(path);
    EXPECT_EQ(back.points, mesh.vertices);
    EXPECT_EQ(back.indices, mesh.indices);
    ASSERT_EQ(back.normals.size(), mesh.vertices.size());
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        EXPECT_EQ(back.points[i].getColorString(), mesh.vertices[i].getColorString());
        EXPECT_EQ((back.normals[i] - Vector3(0, 0, 1)).length(), 0.0);
    }
}

TEST(readGlb, placesWhatNodesShow) {
    const TempFolder folder;
    const PointFile file = zef_test::loadCloud(folder.put("a.gltf", sceneText()));
    ASSERT_EQ(file.kind, PointFile::Kind::MESH);
    // The point of the parent, then the square: y doubled, turned by 90 degrees about z, moved.
    const std::vector<Point3> expected = {{11, 0, 0}, {10, 0, 0}, {10, 1, 0}, {8, 0, 0}, {8, 1, 0}};
    ASSERT_EQ(file.points.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_LT((file.points[i] - expected[i]).length(), 1e-12) << i;
    // The mirror in z turns the triangles over.
    EXPECT_EQ(file.indices, (std::vector<std::uint32_t>{1, 3, 2, 2, 3, 4}));
    EXPECT_LT((file.normals[1] - normalize(Vector3(-0.3, 0, -0.8))).length(), 1e-6);
    EXPECT_EQ(file.points[1].getColorString(), Point3(0, 0, 0, 255, 128, 0, 128).getColorString());
    EXPECT_FALSE(file.points[0].hasColor());
    EXPECT_EQ(file.notes, (std::vector<std::string>{"1 primitives of lines are left out."}));
}

TEST(readGlb, readsOtherWordsForTheSame) {
    const TempFolder folder;
    const std::string text = sceneText(), scenes = R"("scenes":[{"nodes":[1]}],)";
    const auto load = [&](const std::string& words) { return zef_test::loadCloud(folder.put("a.gltf", words)); };
    const PointFile file = load(text);
    const std::vector<std::string> vSame = {
        replaced(text, R"("scene":0,)", ""),
        // Without scenes, what is no child.
        replaced(text, R"("scene":0,)" + scenes, ""),
        // Twice, but shown once.
        replaced(replaced(text, R"("scene":0,)", ""), scenes, R"("scenes":[{"nodes":[1]},{"nodes":[1]}],)"),
        replaced(text, R"("rotation":[0,0,0.70710678118654757,0.70710678118654757],"scale":[1,2,-1])",
                 R"("matrix":[0,1,0,0,-2,0,0,0,0,0,-1,0,0,0,0,1])")};
    for (const std::string& words : vSame) {
        const PointFile same = load(words);
        EXPECT_EQ(same.indices, file.indices) << words;
        ASSERT_EQ(same.points.size(), file.points.size()) << words;
        for (std::size_t i = 0; i < file.points.size(); ++i)
            EXPECT_LT((same.points[i] - file.points[i]).length(), 1e-12) << words;
    }
    // The places of the square as light, in floats.
    const PointFile lit = load(replaced(text, R"("COLOR_0":3)", R"("COLOR_0":1)"));
    EXPECT_EQ(lit.points[2].getColorString(), Point3(0, 0, 0, 255, 0, 0, 255).getColorString());
    EXPECT_EQ(lit.points[4].getColorString(), Point3(0, 0, 0, 255, 255, 0, 255).getColorString());
}

TEST(readGlb, refusesWhatLies) {
    const TempFolder folder;
    const std::string text = sceneText();
    const std::vector<std::array<std::string, 3>> lies = {
        {R"("children":[0])", R"("children":[1])", "node 1: it comes twice"},
        {R"("children":[0])", R"("children":[7])", "node 7 is asked for, but there are 2"},
        {R"("count":4,"type":"SCALAR")", R"("count":5,"type":"SCALAR")", "accessor 0: its 5 entries go beyond the 4"},
        {R"("count":4)", R"("count":18446744073709551615)", "go beyond"},
        {R"("count":4)", R"("count":-4)", "no whole number"},
        {R"("byteOffset":4,)", R"("byteOffset":18446744073709551615,)", "bufferView 1: it goes beyond"},
        {R"("byteStride":12)", R"("byteStride":0)", "does not fit"},
        {R"("byteStride":12)", R"("byteStride":16)", "accessor 1: its 4 entries"},
        {R"("indices":0)", R"("indices":3)", "no whole numbers"},
        {R"("POSITION":1)", R"("POSITION":0)", "are no floats"},
        {R"("NORMAL":2)", R"("NORMAL":4)", "its normals are no floats"},
        {R"("COLOR_0":3)", R"("COLOR_0":0)", "its colours are no"},
        {R"("uri":"data:application/octet-stream;base64,AA)", R"("uri":"data:application/octet-stream;base64,BB)",
         "index 4 of a mesh with 4 vertices"},
        {R"("uri":"data:application/octet-stream;base64,)", R"("uri":"far.bin)", "export it as .glb"},
        {R"("scene":0)", R"("extensionsRequired":["KHR_draco_mesh_compression"],"scene":0)", "without that"},
        {R"("bufferView":1,)", R"("sparse":{},"bufferView":1,)", "sparse"},
        {R"("version":"2.0")", R"("version":"1.0")", "version \"1.0\" is not read"},
        {R"([0,0,0.7)", R"([0,null,0.7)", "no list of 4 numbers"},
        {R"("extras":{)", R"("extras":{"a":)" + std::string(300, '[') + std::string(300, ']') + ",", "too deep"}};
    for (const auto& [from, to, expected] : lies) {
        const std::string error = errorOf(folder.put("a.gltf", replaced(text, from, to)));
        EXPECT_NE(error.find(expected), std::string::npos) << to << '\n' << error;
    }
    // A few bytes that show one mesh very often.
    std::string nodes, scenes;
    for (int i = 0; i < 9000; ++i) nodes += R"({"mesh":0},)", scenes += std::to_string(i + 2) + ",";
    EXPECT_NE(errorOf(folder.put("b.gltf", replaced(replaced(text, R"({"nodes":[1])", R"({"nodes":[)" + scenes + "1]"),
                                                    R"({"mesh":1)", nodes + R"({"mesh":1)")))
                  .find("memory"),
              std::string::npos);
}

TEST(readGlb, everyCutIsTold) {
    const TempFolder folder;
    const zef_test::Shape sheet = zef_test::gridSheet(2, 2, 1.0);
    writeMeshFile(folder.name("a.glb"), {sheet.vertices, sheet.triples}, {});
    const std::string whole = folder.get("a.glb");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string cut = whole.substr(0, size);
        EXPECT_FALSE(errorOf(folder.put("b.glb", cut)).empty()) << size;
        if (size >= 12) cut.replace(8, 4, bytesOf(static_cast<std::uint32_t>(size)));
        EXPECT_FALSE(errorOf(folder.put("b.glb", cut)).empty()) << size;
    }
}
