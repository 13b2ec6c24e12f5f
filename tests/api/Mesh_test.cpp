#include "zef/Mesh.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "api/MeshBody.h"
#include "refine/RMesh.h"
#include "support/capture.h"
#include "support/meshQueries.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/meshFiles.h"
#include "zef/meshOperations.h"

using namespace QUOR_ZEF;
using zef_test::TempFolder;

namespace {

std::shared_ptr<Mesh> makeMesh(const zef_test::Shape& shape) {
    return std::make_shared<Mesh>(new RMesh(shape.vertices, shape.triples, 1.0));
}

bool isText(const std::string& ply) {
    return ply.find("format ascii 1.0") != std::string::npos;
}

}  // namespace

static_assert(!std::is_copy_constructible_v<Mesh> && !std::is_copy_assignable_v<Mesh>);

TEST(Mesh, listsAgreeAndReplaceWhatWasThere) {
    const auto pMesh = makeMesh(zef_test::gridSheet(3, 3));
    for (const std::uint32_t t : {0u, 1u}) pMesh->getRMesh()->getTriangle(t)->kill(pMesh->getRMesh());
    EXPECT_EQ(pMesh->getNumT(), 6u);
    std::vector<Point3*> vVertices(5), vCorners(1), vPoints(2);
    std::vector<int> vIndices(9, 9);
    pMesh->getVertexIndexData(vVertices, vIndices);
    pMesh->getPoints(vPoints);
    pMesh->getTriangles(vCorners);
    EXPECT_EQ(vVertices, vPoints);
    EXPECT_EQ(vVertices.size(), 8u);  // the corner at the origin has no triangle left
    ASSERT_EQ(vIndices.size(), 18u);
    ASSERT_EQ(vCorners.size(), 18u);
    for (std::size_t i = 0; i < vIndices.size(); ++i)
        EXPECT_EQ(vVertices.at(static_cast<std::size_t>(vIndices[i])), vCorners[i]);
}

TEST(Mesh, answersAlikeFromArraysAndFromItsInside) {
    for (std::uint32_t seed = 0; seed < 30; ++seed) {
        zef_test::Shape shape = seed < 5 ? zef_test::moebiusStrip(20 + seed) : zef_test::randomSoup(seed);
        const RMesh clean(shape.vertices, shape.triples, 1.0);
        shape.triples = zef_test::cornerNumbers(clean);  // none repeats a vertex
        for (std::size_t i = 0; i < 20; i += 3) shape.vertices[i].setColor(std::uint8_t(9 * i), 40, 50, 60);
        const auto pArrays =
            std::make_shared<Mesh>(std::make_unique<MeshBody>(TriangleMesh{shape.vertices, shape.triples}, 1.0));
        const auto pInside = makeMesh(shape);
        EXPECT_EQ(pArrays->getAverageEdgeLength(), pInside->getAverageEdgeLength());
        std::vector<std::string> vFiles;
        for (const auto& pMesh : {pArrays, pInside}) {
            laplacianSmoothing(pMesh, 3);
            pMesh->colorizeFilledHoles();
            pMesh->contrastSpread(0.1, 0.1);
            std::vector<Point3*> vVertices;
            std::vector<int> vIndices;
            pMesh->getVertexIndexData(vVertices, vIndices);
            std::string& file = vFiles.emplace_back();
            for (const Point3* p : vVertices)
                file.append(reinterpret_cast<const char*>(&p->px), 24).append(p->getColorString());
            for (const int index : vIndices) file += std::to_string(index) + " ";
        }
        ASSERT_EQ(vFiles[0], vFiles[1]) << seed;
    }
}

TEST(Mesh, completesAndStretchesColours) {
    zef_test::Shape sheet = zef_test::gridSheet(3, 3);
    sheet.vertices[0].setColor(100, 105, 110, 255);
    const auto pMesh = makeMesh(sheet);
    pMesh->colorizeFilledHoles();
    std::vector<Point3*> vPoints;
    pMesh->getPoints(vPoints);
    for (const Point3* p : vPoints) EXPECT_TRUE(p->hasColor() && p->g == 105);
    pMesh->contrastSpread(0.0, 0.0);
    for (const Point3* p : vPoints) EXPECT_TRUE(p->r == 0 && p->g == 128 && p->b == 255);
}

TEST(Mesh, namesOfThePlyWritersStandTheWrongWayRound) {
    const TempFolder folder;
    const auto pMesh = makeMesh(zef_test::gridSheet(3, 3));
    ASSERT_TRUE(pMesh->writePly_ASCII(folder.name("ascii")));
    ASSERT_TRUE(pMesh->writePly_BIN(folder.name("bin")));
    EXPECT_FALSE(isText(folder.get("ascii")));
    EXPECT_TRUE(isText(folder.get("bin")));
}

TEST(writeMesh_auto, choosesByTheEnding) {
    const TempFolder folder;
    const auto pMesh = makeMesh(zef_test::gridSheet(2, 2));
    EXPECT_TRUE(writeMesh_auto(folder.name("a.ply"), pMesh, true));
    EXPECT_FALSE(isText(folder.get("a.ply")));
    EXPECT_TRUE(writeMesh_auto(folder.name("a.PLY"), pMesh, false));
    EXPECT_TRUE(isText(folder.get("a.PLY")));
    EXPECT_TRUE(writeMesh_auto(folder.name("a.stl"), pMesh, true));
    EXPECT_EQ(folder.get("a.stl").substr(0, 11), "solid - ZEF");
    EXPECT_TRUE(writeMesh_auto(folder.name("a.list"), pMesh, true));
    EXPECT_EQ(folder.get("a.list").substr(0, 13), "LIST\n{ OFF\n4 ");

    testing::internal::CaptureStderr();
    EXPECT_TRUE(writeMesh_auto(folder.name("a.other"), pMesh, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Filename [" + folder.name("a.other") + "] is not valid, using [zef_output.ply] instead\n");
    EXPECT_TRUE(isText(folder.get("a.other")));
    EXPECT_NE(zef_test::printedText([&] { EXPECT_FALSE(writeMesh_auto("a", pMesh, true)); }).find("writing a failed"),
              std::string::npos);
}
