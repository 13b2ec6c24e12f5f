#include "sampling/Pixel.h"

#include <gtest/gtest.h>

#include <cmath>

#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/drawnCells.h"
#include "support/samplingPlan.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// 16384 cells along an axis, with the centre in a corner of cells.
Calc gridAround(double centre, double cell = 1.0) {
    const double low = centre - 8192 * cell, side = 16384 * cell;
    return Calc(low, low, low, side, side, side, 14);
}

std::vector<Point3*> cornersOf(Shape& shape) {
    std::vector<Point3*> vCorners;
    for (const std::uint32_t i : shape.triples) vCorners.push_back(&shape.vertices[i]);
    return vCorners;
}

struct Sampled {
    std::vector<Point3> vPoints;
    std::vector<Pixel::CellPair> vFeatureEdges, vBorderEdges;
};

Sampled sample(Shape shape, const Calc& calc, double featureAngle) {
    planSampling();
    Sampled out;
    Pixel pixel(cornersOf(shape), &calc);
    pixel.pixelAll(out.vPoints, out.vFeatureEdges, out.vBorderEdges, featureAngle);
    EXPECT_EQ(getProgress()->getValue(), pixel.vTri.empty() ? 0.0 : 1.0);
    getProgress()->reset();
    return out;
}

// Balls, boxes, triangles of all sizes, sheets of bent quads and fans around one edge, in turn.
Shape drawnShape(unsigned k) {
    Draws draws(k);
    const double size = 4.0 + k;
    Shape shape;
    if (k % 5 == 0) shape = icosphere(1 + static_cast<int>(k / 5) % 3, size + 0.3);
    if (k % 5 == 1) shape = box({0, 0, 0}, {size, size + k % 2 * 0.6, size});
    if (k % 5 == 3) shape = gridSheet(8, 9, 0.25 * size);
    for (unsigned i = 0; k % 5 == 2 && i < 360; ++i) {
        const double extent = i % 9 == 0 ? size : 1.0 + 0.25 * k;
        const double x = draws.between(-1, 1), y = draws.between(-1, 1), z = draws.between(-1, 1);
        const unsigned middle = i / 3 * 7 % 40;
        shape.vertices.emplace_back(middle % 5 * 4 + x * extent, middle / 5 * 3 + y * extent, z * extent);
        shape.triples.push_back(i);
    }
    for (unsigned i = 0; k % 5 == 4 && i < 8; ++i) {
        const double x = draws.between(-9, 9), y = draws.between(-9, 9), z = draws.between(-9, 9);
        shape.vertices.emplace_back(x, y, z);
        if (i > 1) shape.triples.insert(shape.triples.end(), {i % 2, 1 - i % 2, i});
    }
    for (Point3& p : shape.vertices) {
        if (k % 5 == 3) p.pz = draws.between(0, 0.25 * k);
        if (k / 5 % 2) p.set(0.37 + 0.6 * p.px - 0.8 * p.py, 0.21 + 0.8 * p.px + 0.6 * p.py, p.pz - 0.28 * p.px);
        const auto red = static_cast<std::uint8_t>(draws.below(256));
        if (draws.below(2)) p.setColor(red, 20, 30, 40);
    }
    return shape;
}

}  // namespace

TEST(Pixel, samplesAndEdgesAreTheRecordedOnes) {
    const Digests vRecorded = {2250777295, 3779263875, 2174525191, 609153420,  4159149825, 82773814,   3044900730,
                               1573311188, 1585372581, 3753730052, 2572786437, 3184426877, 4069693859, 3978745462,
                               2731444514, 3302058981, 2581866917, 3006687564, 3818009785, 1621088232};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const CaptureCout quiet;
        const Calc calc = gridAround(0.0, k % 3 == 2 ? 0.5 : 1.0);
        for (const double featureAngle : {1.0, 45.0, 89.0, 361.0}) {
            const Sampled sampled = sample(drawnShape(k), calc, featureAngle);
            EXPECT_FALSE(sampled.vPoints.empty());
            for (const Point3& p : sampled.vPoints) digest.add(calc.getRCD(p));
            digest.add(sampled.vPoints, sampled.vFeatureEdges, sampled.vBorderEdges);
        }
    });
}

// Segments anywhere, along axes, from corner to corner of the grid and along its planes.
TEST(Pixel, walkedCellsAreTheRecordedOnes) {
    Shape any{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    const Digests vRecorded = {923180268,  3971284124, 714708685,  1016286367, 2862810879,
                               3073260677, 2001699075, 3178324931, 3904905819, 3928664276};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const double centre = k % 2 ? 1e7 : 0.0;
        const Calc calc = gridAround(centre);
        const Pixel pixel(cornersOf(any), &calc);
        Draws draws(k);
        for (int i = 0; i < 2000; ++i) {
            double c[6];
            for (double& x : c) x = k / 2 == 2 || k / 2 == 3 ? draws.below(19) - 9.0 : draws.between(-12, 12);
            const unsigned axis = draws.below(3);
            for (unsigned n = 0; (k / 2 == 1 || k / 2 == 3) && n < 3; ++n) c[n + 3] = n == axis ? c[n + 3] : c[n];
            if (k / 2 == 4) c[2] = c[5] = std::floor(c[2]);
            const Point3 a(centre + c[0], centre + c[1], centre + c[2]);
            const Point3 b(centre + c[3], centre + c[4], centre + c[5]);
            std::vector<Pixel::CodedPoint> vRaster;
            pixel.rasterizeEdge(a, b, vRaster);
            digest.add(vRaster.size());
            for (const auto& [code, p] : vRaster) digest.add(code, calc.getRCD(p) == code);
            ASSERT_TRUE(vRaster.empty() || (vRaster.front().second == a && vRaster.back().second == b));
        }
    });
}

TEST(Pixel, aLongSegmentStaysOnItsLineAtLargeCoordinates) {
    const double centre = 1e7;
    const Calc calc(centre - 5000, centre - 5000, centre - 5000, 2097152, 2097152, 2097152, 21);
    Shape any{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    // The step along y from cell to cell is below the resolution of a double.
    const Point3 a(centre, centre + 0.5, centre), b(centre + 1e6, centre + 0.5001, centre);
    std::vector<Pixel::CodedPoint> vRaster;
    Pixel(cornersOf(any), &calc).rasterizeEdge(a, b, vRaster);
    ASSERT_EQ(vRaster.size(), 1'000'001u);
    EXPECT_NEAR(vRaster[999'900].second.py - a.py, 0.9999e-4, 1e-8);
}

TEST(Pixel, cellsThatAPlaneHardlyCutsAreReportedOnce) {
    // The first triangle lies in the plane 3x + y + z = 0. The ends of its first edge
    // are lower corners of their cells, which the plane touches there, no more.
    const Shape tetrahedron{{{0, 0, 0}, {0, 7, -7}, {3, -9, 0}, {20, 20, 20}}, {0, 1, 2, 0, 1, 3, 1, 2, 3, 0, 2, 3}};
    const std::string text = printedText([&] { sample(tetrahedron, gridAround(0.0), 361.0); });
    const auto at = text.find("Not enough intersections, numCuts: ");
    EXPECT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.find("Not enough intersections", at + 1), std::string::npos) << text;
}

TEST(Pixel, countsAndSkipsTrianglesWithoutANormal) {
    Shape shape{{{0, 0, 0}, {4, 0, 0}, {8, 0, 0}, {0, 5, 0}, {4, 0, 0}, {NAN, 0, 0}},
                {0, 1, 3, 0, 1, 2, 1, 1, 3, 1, 3, 4, 0, 1, 5}};
    const Calc calc = gridAround(0.3);
    const std::string text = printedText([&] { EXPECT_EQ(Pixel(cornersOf(shape), &calc).vTri.size(), 1u); });
    EXPECT_NE(text.find("Skipped 4 degenerate triangles"), std::string::npos) << text;
    shape.triples.erase(shape.triples.begin(), shape.triples.begin() + 3);
    const std::string allText = printedText([&] { EXPECT_TRUE(sample(shape, calc, 45.0).vPoints.empty()); });
    EXPECT_NE(allText.find("No non-degenerate triangles"), std::string::npos) << allText;

    const auto construct = [&](std::size_t num) { Pixel(std::vector<Point3*>(num, &shape.vertices[0]), &calc); };
    EXPECT_TRUE(failsWith("!vTriangleCorners.empty()", [&] { construct(0); }));
    EXPECT_TRUE(failsWith("vTriangleCorners.size()%3==0", [&] { construct(4); }));
}

TEST(Tri, normalFollowsTheSenseThatIsAskedFor) {
    const Point3 p[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, line[3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    Tri tri(&p[0], &p[1], &p[2]), sliver(&line[0], &line[1], &line[2]);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(tri.getNNV(&p[i], &p[(i + 1) % 3]).vz, 1.0);
        EXPECT_EQ(tri.getNNV(&p[(i + 1) % 3], &p[i]).vz, -1.0);
    }
    EXPECT_TRUE(failsWith("pVtx0<pVtx1 && pVtx1<pVtx2", [&] { Tri(&p[1], &p[0], &p[2]); }));
    EXPECT_TRUE(failsWith("isCorner(pA) && isCorner(pB) && pA!=pB", [&] { tri.getNNV(&p[0], &p[0]); }));
    EXPECT_NE(failureText([&] { sliver.getNNV(&line[0], &line[1]); }).find("uh, degenerate Tri"), std::string::npos);
}
