#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "refine/RMesh.h"
#include "support/meshQueries.h"
#include "support/shapes.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// A sheet whose vertices have these reds, greens and blues; without colour beyond.
RMesh grayMesh(const std::vector<int>& vBytes) {
    Shape shape = gridSheet(static_cast<std::uint32_t>(std::max<std::size_t>(vBytes.size(), 2)), 2);
    for (std::size_t i = 0; i < vBytes.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(vBytes[i]);
        shape.vertices[i].setColor(byte, byte, byte, 7);
    }
    return RMesh(shape.vertices, shape.triples, 1.0);
}

std::vector<int> bytesOf(const RMesh& mesh, std::size_t num, std::uint8_t Point3::*channel = &Point3::g) {
    std::vector<int> vBytes;
    for (std::uint32_t i = 0; i < num; ++i) vBytes.push_back(mesh.getVertex(i)->*channel);
    return vBytes;
}

}  // namespace

TEST(RMeshColor, colorizeFillsRingByRingWithMeansOfEachNeighbourOnce) {
    Shape shape = gridSheet(6, 2);
    for (const std::uint32_t i : {0u, 6u}) shape.vertices[i].setColor(100, 0, 9, 255);
    shape.vertices[7].setColor(31, 0, 9, 255);
    RMesh mesh(shape.vertices, shape.triples, 1.0);
    mesh.colorizeFilledHoles();
    // Vertex 1 lies beside 0 and 7, vertex 8 beside 7; the next ring sees their new colours.
    EXPECT_EQ(bytesOf(mesh, 12, &Point3::r), (std::vector<int>{100, 66, 49, 40, 36, 34, 100, 31, 31, 31, 31, 31}));
}

TEST(RMeshColor, colorizeLeavesComponentsWithoutAnyColor) {
    Shape shape = icosphere(1);
    const auto num = static_cast<std::uint32_t>(shape.vertices.size());
    const std::size_t numT = shape.triples.size();
    for (std::uint32_t i = 0; i < num; ++i) shape.vertices.push_back(shape.vertices[i] + Vector3(5, 0, 0));
    for (std::size_t i = 0; i < numT; ++i) shape.triples.push_back(shape.triples[i] + num);
    shape.vertices[0].setColor(255, 0, 99, 1);
    RMesh mesh(shape.vertices, shape.triples, 1.0);
    mesh.colorizeFilledHoles();
    for (std::uint32_t i = 0; i < 2 * num; ++i) {
        ASSERT_EQ(mesh.getVertex(i)->hasColor(), i < num);
        ASSERT_EQ(mesh.getVertex(i)->b, i < num ? 99 : 0);
    }
}

TEST(RMeshColor, contrastSpreadStretchesAndClips) {
    RMesh whole = grayMesh({50, 60, 100, 150});
    whole.contrastSpread(0.0, 0.0);
    // Nothing is clipped, so the range is that of all bytes.
    EXPECT_EQ(bytesOf(whole, 4), (std::vector<int>{50, 60, 100, 150}));
    // Six of 24 channels, since those without colour count, may go at each end:
    // what is below 60, and what is above 100.
    RMesh clipped = grayMesh({50, 60, 100, 150});
    clipped.contrastSpread(0.25, 0.25);
    EXPECT_EQ(bytesOf(clipped, 4), (std::vector<int>{0, 6, 249, 255}));
    EXPECT_EQ(clipped.getVertex(0)->a, 7);
    EXPECT_FALSE(clipped.getVertex(5)->hasColor());
    RMesh narrow = grayMesh({100, 110, 120});
    narrow.contrastSpread(0.4, 0.4);
    EXPECT_EQ(bytesOf(narrow, 3), (std::vector<int>{0, 128, 255}));
    RMesh single = grayMesh({77, 77});
    single.contrastSpread(0.1, 0.1);
    EXPECT_EQ(bytesOf(single, 2), (std::vector<int>{77, 77}));
    RMesh bare = grayMesh({});
    bare.contrastSpread(0.1, 0.1);
    EXPECT_FALSE(bare.hasColor());
}

TEST(RMeshColor, writeHolesListsTheBorder) {
    const TempFolder folder;
    const auto written = [&](const Shape& shape) {
        EXPECT_TRUE(RMesh(shape.vertices, shape.triples, 1.0).writeHoles(folder.name("holes.list")));
        return folder.get("holes.list");
    };
    const std::string open = written(openCylinder(5, 3, 1.0, 2.0)), closed = written(icosphere(1));
    EXPECT_EQ(open.substr(0, 4), "LIST");
    EXPECT_NE(open.find("VECT\n10 20 1\n"), std::string::npos) << open;  // ten lines, twenty ends, one colour
    EXPECT_EQ(closed.find("VECT"), std::string::npos);
}
