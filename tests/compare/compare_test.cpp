#include "zef/compare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "geometry/freeFunctions.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

const CompareOptions few = {.samples = 20'000};

TriangleMesh meshOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

// Triangles that all have one edge.
TriangleMesh book(std::uint32_t numPages) {
    TriangleMesh mesh{{{0.1, 0.0, -0.4}, {0.2, 0.1, 0.9}}, {}};
    for (std::uint32_t i = 0; i < numPages; ++i) {
        const double turn = 2.0 * M_PI * i / numPages, wide = 0.3 + 0.1 * (i % 7);
        mesh.vertices.emplace_back(wide * std::cos(turn), wide * std::sin(turn), 0.01 * (i % 50));
        mesh.indices.insert(mesh.indices.end(), {i % 2, 2 + i, 1 - i % 2});
    }
    return mesh;
}

double slowDistance(const TriangleMesh& mesh, const Point3& p) {
    double sq = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const Point3& a = mesh.vertices[mesh.indices[i]];
        sq = std::min(sq, sqDistanceToTriangle(p - a, mesh.vertices[mesh.indices[i + 1]] - a,
                                               mesh.vertices[mesh.indices[i + 2]] - a));
    }
    if (mesh.indices.empty())
        for (const Point3& q : mesh.vertices) sq = std::min(sq, (p - q).sqLength());
    return std::sqrt(sq);
}

}  // namespace

TEST(Compare, distancesAreThoseOfASlowSearch) {
    const TriangleMesh own = meshOf(icosphere(4)), its = meshOf(torus(40, 16, 0.9, 0.3));
    for (const TriangleMesh& reference : {its, TriangleMesh{its.vertices, {}}, meshOf(cone(300)), book(2000)}) {
        const Comparison made = compare(own, reference, few);
        double largest = 0.0;
        for (std::size_t i = 0; i < own.vertices.size(); ++i) {
            const double expected = slowDistance(reference, own.vertices[i]);
            ASSERT_NEAR(made.distances[i], expected, 1e-12);
            largest = std::max(largest, expected);
        }
        EXPECT_NEAR(made.there.max, largest, 0.01) << "samples between the vertices may be farther";
    }
}

TEST(Compare, spheresAreAsFarApartAsTheirRadii) {
    TriangleMesh inner = meshOf(icosphere(5)), outer = meshOf(icosphere(5, 1.25));
    const Comparison made = compare(inner, outer, few);
    for (const Deviation& deviation : {made.there, made.back}) {
        EXPECT_EQ(deviation.numSamples, 20'000u);
        EXPECT_NEAR(deviation.mean, 0.25, 1e-3);
        EXPECT_NEAR(deviation.rms, 0.25, 1e-3);
        EXPECT_NEAR(deviation.percentiles[1], 0.25, 2e-3);
        EXPECT_LT(deviation.meanAngle, 2.0);
        EXPECT_EQ(deviation.turnedShare, 0.0);
        EXPECT_EQ(std::accumulate(deviation.histogram.begin(), deviation.histogram.end(), std::uint64_t{0}), 20'000u);
    }
    for (std::size_t i = 0; i < outer.indices.size(); i += 3) std::swap(outer.indices[i], outer.indices[i + 1]);
    EXPECT_EQ(compare(inner, outer, few).there.turnedShare, 1.0);
}

// Half of the vertices lie on a fiftieth of the area.
TEST(Compare, meansAreOfTheAreaAndNotOfTheVertices) {
    TriangleMesh mesh = {{{0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}, {0, 1, 2, 0, 2, 3}};
    const Shape small = gridSheet(2, 2, 0.1);
    for (const std::uint32_t index : small.triples) mesh.indices.push_back(index + 4);
    mesh.vertices.insert(mesh.vertices.end(), small.vertices.begin(), small.vertices.end());
    const TriangleMesh ground = {{{-9, -9, 0}, {9, -9, 0}, {0, 9, 0}}, {0, 1, 2}};
    double area = 0.0;
    for (std::size_t i = 6; i < mesh.indices.size(); i += 3)
        area += getTriangleArea(mesh.vertices[mesh.indices[i]], mesh.vertices[mesh.indices[i + 1]],
                                mesh.vertices[mesh.indices[i + 2]]);
    EXPECT_NEAR(compare(mesh, ground, few).there.mean, 1.0 / (1.0 + area), 1e-4);
}

TEST(Compare, threadsChangeNothing) {
    const TriangleMesh own = meshOf(icosphere(5)), its = meshOf(torus(80, 30, 0.9, 0.3));
    const Comparison one = compare(own, its, few, {.threads = 1}), many = compare(own, its, few, {.threads = 5});
    EXPECT_EQ(one.distances, many.distances);
    EXPECT_EQ(one.back.rms, many.back.rms);
    EXPECT_EQ(one.there.meanAngle, many.there.meanAngle);
}

TEST(Compare, pointsThatAreNotFiniteAreLeftOutWithAWarning) {
    const TriangleMesh ball = meshOf(icosphere(2));
    const double nan = std::nan("");
    std::string warned;
    const Context context = {.message = [&](Severity, std::string_view text) { warned += text; }};
    const Comparison made = compare({{{1, 0, 0}, {nan, 0, 0}, {3, 0, 0}}, {}}, ball, few, context);
    EXPECT_EQ(made.there.numSamples, 2u);
    EXPECT_EQ(made.distances[1], -1.0);
    EXPECT_GT(made.distances[2], 1.9);
    EXPECT_NE(warned.find("1 points of mesh"), std::string::npos) << warned;
    EXPECT_THROW(compare(ball, {{{nan, 0, 0}}, {}}), NoSurfaceError);
    EXPECT_THROW(compare({{{nan, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}}, ball), ArgumentError);
    EXPECT_THROW(compare(ball, ball, {.bins = 0}), ArgumentError);
}

TEST(Compare, coloursRunFromBlueToRed) {
    TriangleMesh mesh = {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    colorByDistance(mesh, std::array{0.0, 5.0, -1.0}, 1.0);
    EXPECT_GT(mesh.vertices[0].b, mesh.vertices[0].r);
    EXPECT_GT(mesh.vertices[1].r, mesh.vertices[1].b);
    EXPECT_EQ(mesh.vertices[2].r, mesh.vertices[2].b);
    EXPECT_THROW(colorByDistance(mesh, std::array{0.0}, 1.0), ArgumentError);
}
