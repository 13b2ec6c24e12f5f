#include "refine/RMesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "grid/Calc.h"
#include "support/capture.h"
#include "support/shapes.h"
#include "topology/CMesh.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// Cells 1, 2, 3 and 5 of a small grid, with a sample each; the third has colour.
class CellSheet {
public:
    CellSheet() {
        for (const uint64 ccd : vCCD) vPoints.push_back(calc.getCellCenter(ccd));
        vPoints[2].setColor(7, 8, 9, 10);
        for (std::size_t i = 0; i < vPoints.size(); ++i) vBundles.push_back({&vPoints[i], vCCD[i]});
        std::vector<Bundle*> vpBundles;
        for (Bundle& bundle : vBundles) vpBundles.push_back(&bundle);
        cells.build(vpBundles);
    }

    Calc calc{0, 0, 0, 16, 16, 16, 3};
    std::vector<uint64> vCCD = {1, 2, 3, 5};
    std::vector<Point3> vPoints;
    std::vector<Bundle> vBundles;
    CellMap cells;
    CMesh mesh{nullptr, &calc, &cells};
};

}  // namespace

TEST(RMesh, takesVerticesInOrderOfCodeAndLiveTrianglesOfACMesh) {
    CellSheet sheet;
    sheet.mesh.createT(5, 2, 1, 0, 0);
    sheet.mesh.createT(1, 2, 5, 0, 0)->kill(&sheet.mesh);
    sheet.mesh.createT(1, 2, 3, 0, 0);
    const RMesh mesh(&sheet.mesh);
    EXPECT_EQ(mesh.cellSize, 2.0);
    ASSERT_EQ(mesh.getNumVertices(), 4u);
    for (std::uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(*mesh.getVertex(i), sheet.vPoints[i]);
        EXPECT_NE(mesh.getVertex(i), &sheet.vPoints[i]);
        EXPECT_EQ(mesh.getVertexNumber(mesh.getVertex(i)), i);
    }
    EXPECT_EQ(mesh.getVertex(2)->getColorString(), sheet.vPoints[2].getColorString());
    EXPECT_TRUE(mesh.hasColor());
    std::vector<Point3*> vCorners;
    mesh.getCorners(vCorners);
    std::vector<std::uint32_t> vNumbers;
    for (const Point3* p : vCorners) vNumbers.push_back(mesh.getVertexNumber(p));
    EXPECT_EQ(vNumbers, (std::vector<std::uint32_t>{3, 1, 0, 0, 1, 2}));
}

TEST(RMesh, keepsBothVerticesAtOnePosition) {
    CellSheet sheet;
    sheet.vPoints[1] = sheet.vPoints[0];
    sheet.mesh.createT(1, 2, 3, 0, 0);
    RMesh mesh(&sheet.mesh);
    std::vector<Point3*> vP;
    mesh.getPoints(vP);
    EXPECT_EQ(vP.size(), 3u);
    EXPECT_TRUE(failsWith("vP.empty()", [&] { mesh.getPoints(vP); }));
    EXPECT_TRUE(mesh.hasVertexAt(sheet.vPoints[3]));  // in no triangle
    EXPECT_FALSE(mesh.hasVertexAt(Point3(9, 9, 9)));
}

TEST(RMesh, fromTriplesLeavesOutRepeatedIndices) {
    const RMesh mesh(gridSheet(2, 2).vertices, {0, 1, 2, 1, 1, 2, 3, 0, 3, 1, 3, 2}, 1.0);
    EXPECT_EQ(mesh.getNumLiveTriangles(), 2u);
    EXPECT_EQ(mesh.getNumSkippedTriples(), 2u);
    EXPECT_FALSE(mesh.hasColor());
}

TEST(RMesh, misuseFailsWithItsCondition) {
    CellSheet bare, odd;
    bare.mesh.createT(1, 2, 3, 0, 0);
    bare.mesh.createT(1, 2, 4, 0, 0);  // no Bundle in cell 4
    odd.mesh.createT(1, 2, 3, 0, 0);
    odd.vPoints[1].px = std::nan("");
    const std::vector<Point3> vPoints = gridSheet(2, 2).vertices;
    RMesh mesh(vPoints, {}, 1.0);
    Point3 *a = mesh.getVertex(0), *b = mesh.getVertex(1);
    const std::vector<std::pair<std::string, std::function<void()>>> cases = {
        {"it0!=vCCDVertex.end() && it1!=vCCDVertex.end() && it2!=vCCDVertex.end()", [&] { RMesh m(&bare.mesh); }},
        {"*pVtx==*pOwnVtx", [&] { RMesh m(&odd.mesh); }},
        // The third triangle at one edge holds memory when the fourth fails.
        {"a<vVertices.size() && b<vVertices.size() && c<vVertices.size()",
         [&] {
             RMesh(vPoints, {0, 1, 2, 0, 1, 3, 0, 1, 2, 0, 1, 4}, 1.0);
         }},
        {"vTriples.size()%3==0",
         [&] {
             RMesh(vPoints, {0, 1}, 1.0);
         }},
        {"pair0.first<pair0.second", [&] { mesh.createT(a, a, b); }},
        {"pair1.first<pair1.second", [&] { mesh.createT(b, a, a); }},
        {"pair2.first<pair2.second", [&] { mesh.createT(a, b, a); }}};
    for (const auto& [condition, fn] : cases) EXPECT_TRUE(failsWith(condition, fn));
    EXPECT_EQ(mesh.getNumTriangles(), 0u);
}

TEST(RMesh, countsTheDegreesOfASheet) {
    const Shape shape = gridSheet(5, 4, 2.0);
    const RMesh sheet(shape.vertices, shape.triples, 2.0);
    // 5 * 3 edges along y and 4 * 4 along x of length 2, and 12 diagonals.
    EXPECT_NEAR(sheet.getAvgEdgeLength(), (31 * 2.0 + 12 * 2.0 * std::sqrt(2.0)) / 43, 1e-12);
    EXPECT_EQ(RMesh({}, {}, 1.0).getAvgEdgeLength(), -1.0);
    EXPECT_EQ(printedText([&] { sheet.printStatistics("sheet"); }),
              "\nRMesh::printStatistics(sheet)\n NumTriangles: 24\n Degree 1: 14\n Degree 2: 29\n");
    std::vector<REdge*> vRE;
    EXPECT_NE(failureText([&] { sheet.getDegN(-2, vRE); }).find("deg=-2\n"), std::string::npos);
}
