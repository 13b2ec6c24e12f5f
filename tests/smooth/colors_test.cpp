#include <gtest/gtest.h>

#include "smooth/colors.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// A strip of 12 vertices whose first ones have these reds, greens and blues.
TriangleMesh grayStrip(const std::vector<int>& vBytes) {
    Shape shape = gridSheet(6, 2);
    for (std::size_t i = 0; i < vBytes.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(vBytes[i]);
        shape.vertices[i].setColor(byte, byte, byte, 7);
    }
    shape.vertices.emplace_back(9, 9, 9);  // of no triangle
    return {shape.vertices, shape.triples};
}

std::vector<int> stretched(const std::vector<int>& vBytes, double low, double high) {
    TriangleMesh mesh = grayStrip(vBytes);
    spreadContrast(mesh, low, high);
    std::vector<int> vResult;
    for (const Point3& p : mesh.vertices)
        if (p.hasColor()) vResult.push_back(p.g);
    return vResult;
}

}  // namespace

TEST(Colors, fillRingByRingWithMeansOfEachNeighbourOnce) {
    TriangleMesh mesh = grayStrip({100});
    mesh.vertices[6].setColor(100, 0, 9, 255);
    mesh.vertices[7].setColor(31, 0, 9, 255);
    completeColors(mesh);
    // Vertex 1 lies beside 0 and 7, vertex 8 beside 7; the next ring sees their new colours.
    const std::vector<int> vReds = {100, 66, 49, 40, 36, 34, 100, 31, 31, 31, 31, 31};
    for (std::size_t i = 0; i < vReds.size(); ++i) EXPECT_EQ(mesh.vertices[i].r, vReds[i]) << i;
    EXPECT_FALSE(mesh.vertices[12].hasColor());
}

TEST(Colors, contrastStretchesAndClips) {
    // Nothing is clipped, so the range is that of all bytes.
    EXPECT_EQ(stretched({50, 60, 100, 150}, 0.0, 0.0), (std::vector<int>{50, 60, 100, 150}));
    // Four of 36 channels, since vertices without colour count, may go at each end:
    // what is below 60, and what is above 100.
    EXPECT_EQ(stretched({50, 60, 100, 150}, 0.12, 0.12), (std::vector<int>{0, 6, 249, 255}));
    EXPECT_EQ(stretched({100, 110, 120}, 0.4, 0.4), (std::vector<int>{0, 128, 255}));
    EXPECT_EQ(stretched({77, 77}, 0.1, 0.1), (std::vector<int>{77, 77}));
    EXPECT_EQ(stretched({}, 0.1, 0.1), std::vector<int>());
}
