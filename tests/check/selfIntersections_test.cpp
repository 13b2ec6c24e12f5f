#include "check/selfIntersections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "check/exactSigns.h"
#include "frame/Rand15.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

using Ints = std::array<std::int64_t, 3>;

std::size_t count(const zef_test::Shape& shape) {
    return findIntersectingPairs({shape.vertices, shape.triples}).size();
}

void append(zef_test::Shape& shape, const zef_test::Shape& other, const Vector3& shift) {
    const auto offset = static_cast<std::uint32_t>(shape.vertices.size());
    for (const Point3& p : other.vertices) shape.vertices.push_back(p + shift);
    for (const std::uint32_t i : other.triples) shape.triples.push_back(offset + i);
}

Ints operator-(const Ints& p, const Ints& q) {
    return {p[0] - q[0], p[1] - q[1], p[2] - q[2]};
}
Ints cross(const Ints& p, const Ints& q) {
    return {p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2], p[0] * q[1] - p[1] * q[0]};
}
std::int64_t dot(const Ints& p, const Ints& q) {
    return p[0] * q[0] + p[1] * q[1] + p[2] * q[2];
}

// Whether a plane with the normal keeps the triangles apart.
bool separates(const Ints& normal, const std::array<Ints, 3>& t, const std::array<Ints, 3>& u) {
    const auto low = [&](const auto& v) { return std::min({dot(normal, v[0]), dot(normal, v[1]), dot(normal, v[2])}); };
    const auto high = [&](const auto& v) {
        return std::max({dot(normal, v[0]), dot(normal, v[1]), dot(normal, v[2])});
    };
    return high(t) < low(u) || high(u) < low(t);
}

// Convex bodies are apart exactly if one of these normals shows it.
bool modelIntersects(const std::array<Ints, 3>& t, const std::array<Ints, 3>& u) {
    const Ints normalT = cross(t[1] - t[0], t[2] - t[0]), normalU = cross(u[1] - u[0], u[2] - u[0]);
    std::vector<Ints> vNormals = {normalT, normalU};
    for (std::size_t i = 0; i < 3; ++i) {
        const Ints edgeT = t[(i + 1) % 3] - t[i], edgeU = u[(i + 1) % 3] - u[i];
        vNormals.push_back(cross(normalT, edgeT));
        vNormals.push_back(cross(normalU, edgeU));
        for (std::size_t j = 0; j < 3; ++j) vNormals.push_back(cross(edgeT, u[(j + 1) % 3] - u[j]));
    }
    return std::ranges::none_of(vNormals, [&](const Ints& n) { return separates(n, t, u); });
}

}  // namespace

// Coordinates on few integers, so that touching and common planes are frequent. The
// model knows no common corners: such pairs are counted alone, without a grid.
TEST(selfIntersections, agreesWithSeparatingPlanesOnSoups) {
    Rand15 rand(7);
    std::size_t sumModel = 0;
    for (const std::int64_t range : {3, 6, 40}) {
        std::vector<std::array<Ints, 3>> vTriangles;
        zef_test::Shape soup;
        while (vTriangles.size() < 150) {
            std::array<Ints, 3> t;
            const Ints base = {rand.next() % (range + 1), rand.next() % (range + 1), rand.next() % (range + 1)};
            for (Ints& p : t)
                for (std::size_t i = 0; i < 3; ++i) p[i] = base[i] + rand.next() % 4;
            if (cross(t[1] - t[0], t[2] - t[0]) == Ints{}) continue;
            vTriangles.push_back(t);
            for (const Ints& p : t) {
                soup.triples.push_back(static_cast<std::uint32_t>(soup.vertices.size()));
                soup.vertices.emplace_back(std::ldexp(double(p[0]), 80), std::ldexp(double(p[1]), 80),
                                           std::ldexp(double(p[2]), 80));
            }
        }
        std::size_t numModel = 0, numWithCommonCorner = 0;
        for (std::size_t i = 0; i < vTriangles.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                const auto& t = vTriangles[i];
                const auto& u = vTriangles[j];
                const bool bCommon = std::ranges::find_first_of(t, u) != t.end();
                if (!bCommon && modelIntersects(t, u)) ++numModel;
                if (bCommon) {
                    zef_test::Shape pair;
                    for (const std::size_t k : {i, j}) {
                        for (std::uint32_t c = 0; c < 3; ++c) {
                            pair.triples.push_back(static_cast<std::uint32_t>(pair.triples.size()));
                            pair.vertices.push_back(soup.vertices[3 * k + c]);
                        }
                    }
                    numWithCommonCorner += count(pair);
                }
            }
        }
        EXPECT_EQ(count(soup), numModel + numWithCommonCorner) << range;
        sumModel += numModel;
    }
    EXPECT_GT(sumModel, 1000u);
}

TEST(selfIntersections, findsNoneInProperSurfacesAndSomeInCrossingOnes) {
    EXPECT_EQ(count(zef_test::icosphere(4)), 0u);
    EXPECT_EQ(count(zef_test::gridSheet(30, 20, 0.1)), 0u);
    EXPECT_EQ(count(zef_test::torus(60, 30, 3.0, 1.0)), 0u);

    zef_test::Shape spheres = zef_test::icosphere(4);
    append(spheres, zef_test::icosphere(4), {2.5, 0.0, 0.0});
    EXPECT_EQ(count(spheres), 0u);
    append(spheres, zef_test::icosphere(4), {0.7, 0.1, 0.2});
    EXPECT_GT(count(spheres), 100u);
}

// Common corners: pairs as they can lie, known by hand. Vertices 0 to 2 are the
// first triangle, in the plane z = 0.
TEST(selfIntersections, knowsNeighboursFromFolds) {
    const auto pair = [](std::array<Point3, 3> other) {
        return count({{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, other[0], other[1], other[2]}, {0, 1, 2, 3, 4, 5}});
    };
    EXPECT_EQ(pair({{{4, 0, 0}, {0, 4, 0}, {0, 0, 0}}}), 1u) << "twice the same";
    EXPECT_EQ(pair({{{4, 0, 0}, {0, 0, 0}, {0, -4, 0}}}), 0u) << "flat neighbours";
    EXPECT_EQ(pair({{{4, 0, 0}, {0, 0, 0}, {1, 2, 0}}}), 1u) << "folded flat";
    EXPECT_EQ(pair({{{4, 0, 0}, {0, 0, 0}, {1, 2, 1e-300}}}), 1u) << "too near to tell from flat";
    EXPECT_EQ(pair({{{4, 0, 0}, {0, 0, 0}, {1, 2, 1e-80}}}), 0u) << "folded, nearly flat";
    EXPECT_EQ(pair({{{0, 0, 0}, {1, 1, 1}, {1, 1, -1}}}), 1u) << "through, from a corner";
    EXPECT_EQ(pair({{{0, 0, 0}, {9, 9, 1}, {9, 9, -1}}}), 1u) << "through and beyond, from a corner";
    EXPECT_EQ(pair({{{0, 0, 0}, {-1, -1, 1}, {-1, -1, -1}}}), 0u) << "away from a corner";
    EXPECT_EQ(pair({{{0, 0, 0}, {8, 0, 0}, {5, -1, 0}}}), 1u) << "flat, along an edge, a longer one";
    EXPECT_EQ(pair({{{0, 0, 0}, {5, -1, 0}, {5, -2, 0}}}), 0u) << "flat, beside a corner";
    EXPECT_EQ(pair({{{2, 0, 0}, {2, -1, 1}, {2, -1, -1}}}), 1u) << "a corner on an edge";
    EXPECT_EQ(pair({{{1, 1, 0}, {2, 1, 0}, {1, 2, 0}}}), 1u) << "flat, inside";
    EXPECT_EQ(pair({{{1, 1, 1e-80}, {2, 1, 1}, {1, 2, 1}}}), 0u) << "just above";
    EXPECT_EQ(pair({{{1, 1, 0}, {1, 1, 0}, {1, 2, 1}}}), 0u) << "no area";
    EXPECT_EQ(pair({{{1, 1, std::numeric_limits<double>::quiet_NaN()}, {2, 1, -1}, {1, 2, 1}}}), 0u) << "no number";
}

// Points of a tilted plane, far from the three that define it: the determinants take
// some 120 bits, and one unit beside the plane makes 40 of them.
TEST(exactSigns, seeOneUnitBesideAPlane) {
    Rand15 rand(3);
    const auto draw = [&] {
        const int high = rand.next();
        return 32768.0 * high + rand.next() + 1.0;
    };
    for (int i = 0; i < 200; ++i) {
        const Coords e = {draw() / 1024 - 5e5, draw() / 1024, 3.0}, f = {draw() / 1024, draw() / 1024 - 5e5, 7.0};
        const auto at = [&](double numE, double numF) {
            Coords p;
            for (std::size_t k = 0; k < 3; ++k) p[k] = 1000.0 + numE * std::floor(e[k]) + numF * std::floor(f[k]);
            return p;
        };
        const Coords a = at(0, 0), b = at(1, 0), c = at(0, 1);
        const double s = draw(), t = -draw();
        const Coords inPlane = at(s, t);
        EXPECT_EQ(orientation3(a, b, c, inPlane), 0);
        const Coords above = {inPlane[0], inPlane[1], inPlane[2] + 1.0};
        const Coords below = {inPlane[0], inPlane[1], inPlane[2] - 1.0};
        EXPECT_EQ(orientation3(a, b, c, above), -orientation2(a, b, c, 2));
        EXPECT_EQ(orientation3(a, b, c, below), orientation2(a, b, c, 2));
    }
}

// Cells are chosen by the mean size; a triangle over all of them must not fill memory.
TEST(selfIntersections, findsWhatALargeTriangleCuts) {
    zef_test::Shape shape = zef_test::gridSheet(101, 101, 1.0);
    const std::uint32_t n = static_cast<std::uint32_t>(shape.vertices.size());
    shape.vertices.insert(shape.vertices.end(), {{50.25, -1e6, -1e6}, {50.25, 1e6, -1e6}, {50.25, 0, 1e6}});
    shape.triples.insert(shape.triples.end(), {n, n + 1, n + 2});
    EXPECT_EQ(count(shape), 200u) << "a column of 100 squares, both halves of each";
}

// Triangles in several cells, so that none of the ranges alone has enough of them.
TEST(selfIntersections, looksForNoMoreThanAskedFor) {
    Rand15 rand(3);
    TriangleMesh soup;
    for (std::uint32_t i = 0; i < 9000; ++i) {
        const int x = rand.next() % 1000, y = rand.next() % 1000, z = rand.next() % 1000;
        const std::uint32_t place = i / 3 % 50;
        soup.vertices.emplace_back(x + 900.0 * place, y, z);
        soup.indices.push_back(i);
    }
    const std::vector<TrianglePair> vAll = findIntersectingPairs(soup);
    ASSERT_GT(vAll.size(), 10'000U);
    EXPECT_EQ(*lookForIntersectingPairs(soup, vAll.size()), vAll);
    for (const std::size_t most : {std::size_t{0}, std::size_t{1000}, vAll.size() - 1}) {
        const std::vector<TrianglePair> vSome = *lookForIntersectingPairs(soup, most);
        EXPECT_GT(vSome.size(), most);
        EXPECT_TRUE(std::ranges::includes(vAll, vSome));
        EXPECT_EQ(std::ranges::adjacent_find(vSome), vSome.end());
    }
    EXPECT_LT(lookForIntersectingPairs(soup, 0)->size(), vAll.size() / 10);
}
