#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/Rand15.h"
#include "refine/RMesh.h"
#include "refine/meshQueries.h"
#include "support/shapes.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// All passes over all vertices, each with the colours of before.
void colorizePlainly(RMesh& mesh) {
    std::vector<Point3*> vP;
    mesh.getPoints(vP);
    for (bool bAny = true; bAny;) {
        std::vector<std::pair<Point3*, std::vector<const Point3*>>> vRecords;
        for (Point3* pVtx : vP) {
            std::vector<const Point3*> vNeig;
            for (const std::uint32_t number : mesh.getFan(pVtx))
                for (int i = 0; i < 3; ++i) vNeig.push_back(mesh.getTriangle(number)->getCorner(i));
            std::erase_if(vNeig, [](const Point3* p) { return !p->hasColor(); });
            std::sort(vNeig.begin(), vNeig.end());
            vNeig.erase(std::unique(vNeig.begin(), vNeig.end()), vNeig.end());
            if (!pVtx->hasColor() && !vNeig.empty()) vRecords.emplace_back(pVtx, vNeig);
        }
        std::vector<Point3> vColors;
        for (const auto& [pVtx, vNeig] : vRecords) {
            float s[4] = {0, 0, 0, 0};
            for (const Point3* p : vNeig) p->addOwnColor(s[0], s[1], s[2], s[3]);
            const auto num = float(vNeig.size());
            const auto mean = [&s, num](int i) { return std::uint8_t(s[i] / num + 0.5f); };
            vColors.emplace_back(0, 0, 0, mean(0), mean(1), mean(2), mean(3));
        }
        for (std::size_t i = 0; i < vRecords.size(); ++i) vRecords[i].first->copyColorFrom(vColors[i]);
        bAny = !vRecords.empty();
    }
}

std::string colorsOf(const RMesh& mesh) {
    std::string text;
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i)
        text += mesh.getVertex(i)->hasColor() ? mesh.getVertex(i)->getColorString() + "\n" : "none\n";
    return text;
}

// A sheet whose vertices have these reds, greens and blues; without colour beyond.
RMesh grayMesh(const std::vector<int>& vBytes) {
    Shape shape = gridSheet(static_cast<std::uint32_t>(std::max<std::size_t>(vBytes.size(), 2)), 2);
    for (std::size_t i = 0; i < vBytes.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(vBytes[i]);
        shape.vertices[i].setColor(byte, byte, byte, 7);
    }
    return RMesh(shape.vertices, shape.triples, 1.0);
}

std::vector<int> bytesOf(const RMesh& mesh, std::size_t num) {
    std::vector<int> vBytes;
    for (std::uint32_t i = 0; i < num; ++i) vBytes.push_back(mesh.getVertex(i)->g);
    return vBytes;
}

}  // namespace

TEST(RMeshColor, colorizeFillsRingByRingLikeThePlainPasses) {
    for (std::uint32_t seed = 0; seed < 30; ++seed) {
        Shape shape = seed % 2 ? randomSoup(seed) : torus(20, 12, 3.0, 1.0);
        Rand15 rand(seed);
        for (Point3& p : shape.vertices)
            if (rand.next() % 25 == 0)
                p.setColor(std::uint8_t(rand.next()), std::uint8_t(rand.next()), std::uint8_t(rand.next()), 200);
        RMesh mesh(shape.vertices, shape.triples, 1.0), plain(shape.vertices, shape.triples, 1.0);
        mesh.colorizeFilledHoles();
        colorizePlainly(plain);
        ASSERT_EQ(colorsOf(mesh), colorsOf(plain)) << seed;
    }
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
