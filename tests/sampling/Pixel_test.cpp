#include "sampling/Pixel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "support/capture.h"
#include "support/samplingPlan.h"
#include "support/shapes.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using zef_test::printedText;
using zef_test::Shape;

namespace {

// 16384 cells along an axis, with the centre in a corner of cells.
Calc gridAround(double centre, double cell) {
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
    zef_test::planSampling();
    Sampled out;
    Pixel pixel(cornersOf(shape), &calc);
    pixel.pixelAll(out.vPoints, out.vFeatureEdges, out.vBorderEdges, featureAngle);
    EXPECT_EQ(getProgress()->getValue(), pixel.vTri.empty() ? 0.0 : 1.0);
    getProgress()->reset();
    return out;
}

// Turned by a fixed angle around a slanted axis, then moved.
Point3 placed(const Point3& p) {
    const double c = std::cos(0.7), s = std::sin(0.7);
    const double x = c * p.px - s * p.py, y = s * p.px + c * p.py;
    return {0.37 + x, 0.21 + c * y - s * p.pz, -0.13 + s * y + c * p.pz};
}

Shape box(double size, bool bPlaced) {
    Shape shape = zef_test::box({0, 0, 0}, {size, size, size});
    if (bPlaced) std::transform(shape.vertices.begin(), shape.vertices.end(), shape.vertices.begin(), placed);
    return shape;
}

// ---- overlap of a triangle and a cell by separating axes, the cell grown by a
// part of its size

bool isApart(const Vector3& axis, const Point3* const p[3], const Point3& centre, double half) {
    const double radius = half * (std::fabs(axis.vx) + std::fabs(axis.vy) + std::fabs(axis.vz));
    double low = INFINITY, high = -INFINITY;
    for (int i = 0; i < 3; ++i) {
        low = std::min(low, axis * (*p[i] - centre));
        high = std::max(high, axis * (*p[i] - centre));
    }
    return low > radius || high < -radius;
}

bool touches(const Point3* const p[3], const Point3& centre, double half) {
    const Vector3 units[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    if (isApart(normalize(cross(*p[1] - *p[0], *p[2] - *p[0])), p, centre, half)) return false;
    for (const Vector3& unit : units) {
        if (isApart(unit, p, centre, half)) return false;
        for (int i = 0; i < 3; ++i) {
            const Vector3 axis = cross(unit, normalize(*p[(i + 1) % 3] - *p[i]));
            if (axis.length() > 1e-6 && isApart(axis, p, centre, half)) return false;
        }
    }
    return true;
}

// fn(code) for the cells in the box of the triangle that it touches when they are grown.
template <class Fn>
void forTouchedCells(const Point3* const p[3], const Calc& calc, double grownBy, const Fn& fn) {
    Point3 low = *p[0], high = *p[0];
    for (int i = 1; i < 3; ++i) {
        low.set(std::min(low.px, p[i]->px), std::min(low.py, p[i]->py), std::min(low.pz, p[i]->pz));
        high.set(std::max(high.px, p[i]->px), std::max(high.py, p[i]->py), std::max(high.pz, p[i]->pz));
    }
    const GridCoords from = unpackRCD(calc.getRCD(low)), to = unpackRCD(calc.getRCD(high));
    const double half = calc.getCellSize() * (0.5 + grownBy);
    for (uint64 x = from.x - 1; x <= to.x + 1; ++x)
        for (uint64 y = from.y - 1; y <= to.y + 1; ++y)
            for (uint64 z = from.z - 1; z <= to.z + 1; ++z)
                if (touches(p, calc.getCellCenter(packCCD(x, y, z)), half)) fn(packRCD(x, y, z));
}

// The cells in which the segment is longer than rounding can make it.
std::vector<uint64> cellsAlong(const Point3& a, const Point3& b, const Calc& calc) {
    const Vector3 v = b - a;
    std::vector<double> vCuts{0.0, 1.0};
    const double starts[3] = {a.px, a.py, a.pz}, origins[3] = {calc.x0, calc.y0, calc.z0};
    for (int axis = 0; axis < 3; ++axis) {
        const double way = v.getCartesian(axis), start = starts[axis] - origins[axis], cell = calc.getCellSize();
        if (way == 0.0) continue;
        const double from = std::min(start, start + way), to = std::max(start, start + way);
        for (double k = std::ceil(from / cell); k * cell <= to; ++k) vCuts.push_back((k * cell - start) / way);
    }
    std::sort(vCuts.begin(), vCuts.end());
    std::vector<uint64> vCells;
    for (std::size_t i = 0; i + 1 < vCuts.size(); ++i) {
        if ((vCuts[i + 1] - vCuts[i]) * v.length() < 1e-6 * calc.getCellSize()) continue;
        vCells.push_back(calc.getRCD(a + v * ((vCuts[i] + vCuts[i + 1]) * 0.5)));
    }
    return vCells;
}

double distanceToLine(const Point3& p, const Point3& a, const Point3& b) {
    return cross(normalize(b - a), p - a).length();
}

// Which kinds of trouble the raster of the segment has.
std::string troubleOf(const Point3& a, const Point3& b, const Calc& calc, const Pixel& pixel) {
    std::vector<Pixel::CodedPoint> vRaster;
    pixel.rasterizeEdge(a, b, vRaster);
    const uint64 s = calc.getRCD(a), t = calc.getRCD(b);
    if (s == t) return vRaster.empty() ? "" : "ends in one cell";
    if (vRaster.size() < 2 || vRaster.front().second != a || vRaster.back().second != b) return "no true ends";
    std::set<uint64> sFound;
    for (const auto& [code, p] : vRaster) {
        if (calc.getRCD(p) != code) return "a code that is not its sample's";
        if (!sFound.insert(code).second) return "a cell twice";
        if (distanceToLine(p, a, b) > 1e-6 * calc.getCellSize()) return "a sample off the segment";
        if (p != a && p != b && !((p - a) * (b - a) > 0.0 && (p - b) * (a - b) > 0.0)) return "a sample beyond an end";
    }
    for (const uint64 code : cellsAlong(a, b, calc)) {
        if (!sFound.count(code)) return "a missed cell";
    }
    return "";
}

struct AnyPixel {
    Shape shape{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    Pixel pixel;
    explicit AnyPixel(const Calc& calc) : pixel(cornersOf(shape), &calc) {}
};

Shape randomTriangles(int num, double extent, double size, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const auto vector = [&](double f) { return Vector3(f * unit(random), f * unit(random), f * unit(random)); };
    Shape shape;
    for (int i = 0; i < num; ++i) {
        const Point3 middle = Point3() + vector(extent);
        for (int k = 0; k < 3; ++k) {
            shape.triples.push_back(static_cast<std::uint32_t>(shape.vertices.size()));
            shape.vertices.push_back(middle + vector(size));
        }
    }
    return shape;
}

bool sameBytes(const Sampled& a, const Sampled& b) {
    return a.vFeatureEdges == b.vFeatureEdges && a.vBorderEdges == b.vBorderEdges &&
           std::equal(a.vPoints.begin(), a.vPoints.end(), b.vPoints.begin(), b.vPoints.end(),
                      [](const Point3& p, const Point3& q) {
                          return p == q && p.bHasColor == q.bHasColor && p.r == q.r && p.a == q.a;
                      });
}

}  // namespace

TEST(Pixel, samplesLieInTouchedCellsAndInAllCellsOfLongEdges) {
    const std::vector<std::pair<std::string, Shape>> vShapes = {{"small", randomTriangles(150, 20, 3, 1)},
                                                                {"large", randomTriangles(12, 10, 30, 2)},
                                                                {"tiny", randomTriangles(300, 20, 0.7, 3)},
                                                                {"sphere", zef_test::icosphere(3, 12.3)},
                                                                {"box", box(17.3, true)},
                                                                {"boxOnLattice", box(12, false)}};
    const Calc calc = gridAround(0.0, 1.0);
    for (const auto& [name, shape] : vShapes) {
        const Sampled sampled = sample(shape, calc, 30.0);
        std::set<uint64> sFound;
        for (const Point3& p : sampled.vPoints) EXPECT_TRUE(sFound.insert(calc.getRCD(p)).second);
        std::set<uint64> sMayTouch, sMustTouch;
        for (std::size_t i = 0; i < shape.triples.size(); i += 3) {
            const Point3* p[3];
            for (std::size_t k = 0; k < 3; ++k) p[k] = &shape.vertices[shape.triples[i + k]];
            forTouchedCells(p, calc, 1e-9, [&](uint64 code) { sMayTouch.insert(code); });
            forTouchedCells(p, calc, -1e-9, [&](uint64 code) { sMustTouch.insert(code); });
            for (std::size_t k = 0; k < 3; ++k) {
                const Point3 &a = *std::min(p[k], p[(k + 1) % 3]), &b = *std::max(p[k], p[(k + 1) % 3]);
                if (calc.getRCD(a) == calc.getRCD(b)) continue;
                for (const uint64 code : cellsAlong(a, b, calc)) EXPECT_TRUE(sFound.count(code)) << name;
            }
        }
        EXPECT_TRUE(std::includes(sMayTouch.begin(), sMayTouch.end(), sFound.begin(), sFound.end())) << name;
        // A box on the lattice only touches borders of cells.
        if (sMustTouch.empty()) continue;
        std::vector<uint64> vHit;
        std::set_intersection(sMustTouch.begin(), sMustTouch.end(), sFound.begin(), sFound.end(),
                              std::back_inserter(vHit));
        const double share = static_cast<double>(vHit.size()) / static_cast<double>(sMustTouch.size());
        RecordProperty("shareOfTouchedCells_" + name, std::to_string(share));
        EXPECT_GT(share, 0.6) << name;
    }
}

TEST(Pixel, walksSegmentsOfAllKindsWithoutAGap) {
    std::mt19937_64 random(11);
    const auto integer = [&](int n) { return static_cast<double>(random() % static_cast<unsigned>(2 * n + 1)) - n; };
    std::uniform_real_distribution<double> unit(-12.0, 12.0);
    const auto anywhere = [&] { return Point3(unit(random), unit(random), unit(random)); };
    const auto onLattice = [&] { return Point3(integer(9), integer(9), integer(9)); };
    const auto alongAxis = [&](const Point3& p) {
        const double way = unit(random);
        const auto axis = random() % 3;
        return p + Vector3(axis == 0 ? way : 0, axis == 1 ? way : 0, axis == 2 ? way : 0);
    };
    using Ends = std::pair<Point3, Point3>;
    const std::vector<std::pair<std::string, std::function<Ends()>>> vKinds = {
        {"generic", [&] { return Ends(anywhere(), anywhere()); }},
        {"axis-parallel",
         [&] {
             const Point3 p = anywhere();
             return Ends(p, alongAxis(p));
         }},
        {"lattice ends", [&] { return Ends(onLattice(), onLattice()); }},
        {"along boundaries",
         [&] {
             const Point3 p = onLattice();
             return Ends(p, alongAxis(p));
         }},
        {"in a boundary plane", [&] {
             Point3 p = anywhere(), q = anywhere();
             p.pz = q.pz = integer(9);
             return Ends(p, q);
         }}};
    for (const double centre : {0.0, 1e7}) {
        const Calc calc = gridAround(centre, 1.0);
        const AnyPixel any(calc);
        const Vector3 shift(centre, centre, centre);
        for (const auto& [kind, makeEnds] : vKinds) {
            for (int i = 0; i < 20'000; ++i) {
                const auto [a, b] = makeEnds();
                const std::string trouble = troubleOf(a + shift, b + shift, calc, any.pixel);
                ASSERT_EQ(trouble, "") << kind << " around " << centre << ", segment " << i;
            }
        }
    }
}

TEST(Pixel, aLongSegmentStaysOnItsLineAtLargeCoordinates) {
    const double centre = 1e7;
    const Calc calc(centre - 5000, centre - 5000, centre - 5000, 2097152, 2097152, 2097152, 21);
    const AnyPixel any(calc);
    // The step along y from cell to cell is below the resolution of a double.
    const Point3 a(centre, centre + 0.5, centre), b(centre + 1e6, centre + 0.5001, centre);
    std::vector<Pixel::CodedPoint> vRaster;
    any.pixel.rasterizeEdge(a, b, vRaster);
    ASSERT_EQ(vRaster.size(), 1'000'001u);
    EXPECT_NEAR(vRaster[999'900].second.py - a.py, 0.9999e-4, 1e-8);
}

TEST(Pixel, aCubeHasItsTwelveEdgesExactlyOrNoneAtAll) {
    const Calc calc = gridAround(0.0, 1.0);
    for (const bool bPlaced : {false, true}) {
        const Shape cube = box(9.6, bPlaced);
        std::map<uint64, std::vector<std::pair<Point3, Point3>>> mEdgesOfCell;
        std::size_t numSteps = 0;
        const AnyPixel any(calc);
        for (unsigned i = 0; i < 8; ++i) {
            for (const unsigned bit : {1u, 2u, 4u}) {
                if (i & bit) continue;
                const Point3 &a = cube.vertices[i], &b = cube.vertices[i | bit];
                std::vector<Pixel::CodedPoint> vRaster;
                any.pixel.rasterizeEdge(a, b, vRaster);
                numSteps += vRaster.size() - 1;
                for (const auto& [code, p] : vRaster) mEdgesOfCell[code].emplace_back(a, b);
            }
        }
        const Sampled sharp = sample(cube, calc, 45.0);
        EXPECT_EQ(sharp.vFeatureEdges.size(), numSteps);
        EXPECT_TRUE(sharp.vBorderEdges.empty());
        for (const auto& [ccd0, ccd1] : sharp.vFeatureEdges) {
            EXPECT_LT(ccd0, ccd1);
            EXPECT_EQ(mEdgesOfCell.count(calc.ccdToRcd(ccd0)), 1u);
        }
        std::size_t numOnEdges = 0;
        for (const Point3& p : sharp.vPoints) {
            const auto it = mEdgesOfCell.find(calc.getRCD(p));
            if (it == mEdgesOfCell.end()) continue;
            ++numOnEdges;
            EXPECT_TRUE(std::any_of(it->second.begin(), it->second.end(), [&](const auto& edge) {
                return distanceToLine(p, edge.first, edge.second) < 1e-12;
            }));
        }
        EXPECT_EQ(numOnEdges, mEdgesOfCell.size());

        const Sampled smooth = sample(cube, calc, 361.0);
        EXPECT_TRUE(smooth.vFeatureEdges.empty() && smooth.vBorderEdges.empty());
        EXPECT_GT(smooth.vPoints.size(), sharp.vPoints.size() * 9 / 10);
    }
}

TEST(Pixel, smoothSamplesAreCellCentresOnThePlane) {
    Shape sheet{{{-20.3, -20.1, 0}, {20.2, -20.4, 0}, {0.4, 25.7, 0}}, {0, 1, 2}};
    const Vector3 normal = normalize(Vector3(0.31, -0.17, 1.0));
    const Plane plane(Point3(0, 0, 0.4), normal);
    for (Point3& p : sheet.vertices) p.pz = 0.4 - (p.px * normal.vx + p.py * normal.vy) / normal.vz;
    const Calc calc = gridAround(0.0, 1.0);
    std::size_t numProjected = 0;
    const Sampled sampled = sample(sheet, calc, 30.0);
    for (const Point3& p : sampled.vPoints) {
        EXPECT_NEAR((p - plane.projection(p)).length(), 0.0, 1e-12);
        const Point3 centre = plane.projection(calc.getCellCenter(calc.getCCD(p)));
        numProjected += (p - centre).length() < 1e-12;
    }
    EXPECT_GT(numProjected, sampled.vPoints.size() * 6 / 10);
    EXPECT_EQ(sampled.vFeatureEdges, sampled.vBorderEdges);
}

TEST(Pixel, anEdgeOfThreeTrianglesTakesTheLargestAngle) {
    // All share the edge from 0 to 1; the second triangle is flat to the first one,
    // the third one stands upright.
    const Shape fan{{{0, 0, 0}, {9, 0, 0}, {4, 8, 0}, {5, -8, 0}, {5, 0, 8}}, {0, 1, 2, 1, 0, 3, 0, 1, 4}};
    const Calc calc = gridAround(0.3, 1.0);
    const auto numSharpSteps = [&](double featureAngle) {
        const Sampled sampled = sample(fan, calc, featureAngle);
        return sampled.vFeatureEdges.size() - sampled.vBorderEdges.size();
    };
    EXPECT_EQ(numSharpSteps(89.0), 9u);
    EXPECT_EQ(numSharpSteps(91.0), 0u);
}

TEST(Pixel, onlyEndsOfEdgesHaveColour) {
    Shape cube = box(9.6, true);
    for (Point3& p : cube.vertices) p.setColor(10, 20, 30, 40);
    const Sampled sampled = sample(cube, gridAround(0.0, 1.0), 45.0);
    const auto isColored = [](const Point3& p) { return p.bHasColor && p.g == 20; };
    EXPECT_EQ(std::count_if(sampled.vPoints.begin(), sampled.vPoints.end(), isColored), 8);
}

TEST(Pixel, cellsThatAPlaneHardlyCutsAreReportedOnce) {
    // The first triangle lies in the plane 3x + y + z = 0. The ends of its first edge
    // are lower corners of their cells, which the plane touches there, no more.
    const Shape tetrahedron{{{0, 0, 0}, {0, 7, -7}, {3, -9, 0}, {20, 20, 20}}, {0, 1, 2, 0, 1, 3, 1, 2, 3, 0, 2, 3}};
    const Calc calc = gridAround(0.0, 1.0);
    const std::string text = printedText([&] { sample(tetrahedron, calc, 361.0); });
    const auto at = text.find("Not enough intersections, numCuts: ");
    EXPECT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.find("Not enough intersections", at + 1), std::string::npos) << text;
}

TEST(Pixel, countsAndSkipsTrianglesWithoutANormal) {
    Shape shape{{{0, 0, 0}, {4, 0, 0}, {8, 0, 0}, {0, 5, 0}, {4, 0, 0}, {NAN, 0, 0}},
                {0, 1, 3, 0, 1, 2, 1, 1, 3, 1, 3, 4, 0, 1, 5}};
    const Calc calc = gridAround(0.3, 1.0);
    const std::string text = printedText([&] { EXPECT_EQ(Pixel(cornersOf(shape), &calc).vTri.size(), 1u); });
    EXPECT_NE(text.find("Skipped 4 degenerate triangles"), std::string::npos) << text;
    shape.triples.erase(shape.triples.begin(), shape.triples.begin() + 3);
    const std::string allText = printedText([&] { EXPECT_TRUE(sample(shape, calc, 45.0).vPoints.empty()); });
    EXPECT_NE(allText.find("No non-degenerate triangles"), std::string::npos) << allText;

    const auto construct = [&](std::size_t num) { Pixel(std::vector<Point3*>(num, &shape.vertices[0]), &calc); };
    EXPECT_TRUE(zef_test::failsWith("!vTriangleCorners.empty()", [&] { construct(0); }));
    EXPECT_TRUE(zef_test::failsWith("vTriangleCorners.size()%3==0", [&] { construct(4); }));
}

TEST(Pixel, sliversHaveANormalInAllOrdersOfTheirCornersOrInNone) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(-5.0, 5.0);
    const Calc calc = gridAround(0.0, 1.0);
    int numWithNormal = 0;
    for (int i = 0; i < 300; ++i) {
        const Point3 a(unit(random), unit(random), unit(random)), b(unit(random), unit(random), unit(random));
        Shape shape{{a, b, a + (b - a) * (0.1 * std::fabs(unit(random)))}, {0, 1, 2}};
        std::set<std::size_t> sNumTriangles;
        do {
            printedText([&] {
                Pixel pixel(cornersOf(shape), &calc);
                sNumTriangles.insert(pixel.vTri.size());
                for (Tri& tri : pixel.vTri) EXPECT_TRUE(tri.getNNV(tri.pVtx2, tri.pVtx1).isNV());
            });
        } while (std::next_permutation(shape.triples.begin(), shape.triples.end()));
        EXPECT_EQ(sNumTriangles.size(), 1u);
        numWithNormal += *sNumTriangles.begin() == 1;
    }
    EXPECT_GT(numWithNormal, 100);
}

TEST(Pixel, resultDoesNotDependOnThreadsOrAddresses) {
    Shape soup = zef_test::icosphere(6, 20.0);
    const Shape sharp = randomTriangles(500, 25, 6, 9);
    const auto offset = static_cast<std::uint32_t>(soup.vertices.size());
    soup.vertices.insert(soup.vertices.end(), sharp.vertices.begin(), sharp.vertices.end());
    for (const std::uint32_t i : sharp.triples) soup.triples.push_back(offset + i);
    const Calc calc = gridAround(0.0, 0.5);
    const auto sampledBy = [&](unsigned numThreads) {
        const ThreadCount threads(numThreads);
        return sample(soup, calc, 1.0);
    };
    const Sampled expected = sampledBy(1);
    EXPECT_GT(expected.vPoints.size(), 20'000u);
    EXPECT_TRUE(sameBytes(sampledBy(2), expected));
    EXPECT_TRUE(sameBytes(sampledBy(16), expected));
}

TEST(Tri, normalFollowsTheSenseThatIsAskedFor) {
    const Point3 p[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    Tri tri(&p[0], &p[1], &p[2]);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(tri.getNNV(&p[i], &p[(i + 1) % 3]).vz, 1.0);
        EXPECT_EQ(tri.getNNV(&p[(i + 1) % 3], &p[i]).vz, -1.0);
    }
    EXPECT_TRUE(zef_test::failsWith("pVtx0<pVtx1 && pVtx1<pVtx2", [&] { Tri(&p[1], &p[0], &p[2]); }));
    const Point3 line[3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    Tri sliver(&line[0], &line[1], &line[2]);
    const std::string text = zef_test::failureText([&] { sliver.getNNV(&line[0], &line[1]); });
    EXPECT_NE(text.find("uh, degenerate Tri"), std::string::npos);
}
