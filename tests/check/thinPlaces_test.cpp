#include "check/thinPlaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "frame/Rand15.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// Behind what is there already, turned the other way if so wanted.
void append(TriangleMesh& mesh, const Shape& shape, bool bTurned = false) {
    const auto first = static_cast<std::uint32_t>(mesh.vertices.size());
    mesh.vertices.insert(mesh.vertices.end(), shape.vertices.begin(), shape.vertices.end());
    const std::size_t second = bTurned ? 2 : 1;
    for (std::size_t i = 0; i < shape.triples.size(); i += 3)
        for (const std::size_t k : {std::size_t{0}, second, 3 - second})
            mesh.indices.push_back(first + shape.triples[i + k]);
}

TriangleMesh meshOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

using Corners = std::array<Point3, 3>;

Corners cornersOf(const TriangleMesh& mesh, std::size_t t) {
    return {mesh.vertices[mesh.indices[3 * t]], mesh.vertices[mesh.indices[3 * t + 1]],
            mesh.vertices[mesh.indices[3 * t + 2]]};
}

Vector3 across(const Vector3& a, const Vector3& b) {
    return {a.vy * b.vz - a.vz * b.vy, a.vz * b.vx - a.vx * b.vz, a.vx * b.vy - a.vy * b.vx};
}

Vector3 normalOf(const Corners& t) {
    const Vector3 normal = across(t[1] - t[0], t[2] - t[0]);
    return normal / normal.length();
}

// How far behind p the plane of the triangle is, if the line hits the triangle; by the volumes of tetrahedra.
double distanceBehind(const Point3& p, const Vector3& normal, const Corners& t) {
    std::array<double, 3> volumes;
    for (std::size_t i = 0; i < 3; ++i) volumes[i] = across(t[i] - p, t[(i + 1) % 3] - p) * normal;
    const auto [least, most] = std::ranges::minmax(volumes);
    const Vector3 other = normalOf(t);
    const double slope = other * normal;
    if ((least < 0.0 && most > 0.0) || slope == 0.0) return -1.0;
    return ((p - t[0]) * other) / slope;
}

struct Thin {
    std::size_t num = 0;
    double least = std::numeric_limits<double>::infinity();
};

Thin bruteThin(const TriangleMesh& mesh, double limit) {
    Thin thin;
    for (std::size_t t = 0; t < mesh.numTriangles(); ++t) {
        const Corners a = cornersOf(mesh, t);
        const Point3 middle = a[0] + ((a[1] - a[0]) + (a[2] - a[0])) / 3.0;
        const Vector3 normal = normalOf(a);
        double nearest = limit;
        bool bOpposed = false;
        for (std::size_t u = 0; u < mesh.numTriangles(); ++u) {
            const auto* const p = &mesh.indices[3 * u];
            if (std::find_first_of(p, p + 3, &mesh.indices[3 * t], &mesh.indices[3 * t] + 3) != p + 3) continue;
            const double distance = distanceBehind(middle, normal, cornersOf(mesh, u));
            if (distance < 0.0 || distance >= nearest) continue;
            nearest = distance;
            bOpposed = normalOf(cornersOf(mesh, u)) * normal <= -0.8;
        }
        if (!bOpposed) continue;
        ++thin.num;
        thin.least = std::min(thin.least, nearest);
    }
    return thin;
}

}  // namespace

TEST(ThinPlaces, areThoseOfBruteForceOnBumpyShapes) {
    Rand15 rand(5);
    std::size_t num = 0;
    for (int round = 0; round < 12; ++round) {
        TriangleMesh mesh = meshOf(round % 2 ? torus(24, 12, 1.0, 0.35) : icosphere(2));
        append(mesh, icosphere(2, 0.8), true);
        for (Point3& p : mesh.vertices) {
            p.px *= 1.0 + rand.next() / 2e5;
            p.py *= 0.3 + rand.next() / 2e5;
            p.pz *= 1.0 + rand.next() / 2e5;
        }
        for (const double limit : {0.05, 0.2, 3.0}) {
            const ThinReport report = measureThinPlaces(mesh, limit);
            const Thin expected = bruteThin(mesh, limit);
            ASSERT_EQ(report.numTriangles, expected.num) << round << ' ' << limit;
            num += expected.num;
            if (expected.num == 0) continue;
            EXPECT_NEAR(report.places.front().thickness, expected.least, 1e-12);
            EXPECT_TRUE(std::ranges::is_sorted(report.places, {}, &ThinPlace::thickness));
            std::size_t sum = 0;
            for (const ThinPlace& place : report.places) sum += place.numTriangles;
            EXPECT_EQ(sum, expected.num);
        }
    }
    EXPECT_GT(num, 1000u);
}

TEST(ThinPlaces, wallsAreAsThickAsTheyAre) {
    TriangleMesh shell = meshOf(icosphere(4));
    append(shell, icosphere(4, 0.9), true);
    const ThinReport wall = measureThinPlaces(shell, 0.11);
    ASSERT_EQ(wall.places.size(), 1u) << "both faces are one wall";
    EXPECT_EQ(wall.numTriangles, shell.numTriangles());
    EXPECT_NEAR(wall.places[0].thickness, 0.1, 0.002);
    EXPECT_NEAR((wall.places[0].place - Point3()).length(), 0.95, 0.03);
    EXPECT_EQ(measureThinPlaces(shell, 0.09).numTriangles, 0u);

    // Two slabs of different thickness, far smaller than their distance; their edges are not thin.
    TriangleMesh slabs = meshOf(box({0, 0, 0}, {10, 10, 0.3}));
    append(slabs, box({0, 0, 5}, {10, 10, 5.2}));
    const ThinReport two = measureThinPlaces(slabs, 1.0);
    ASSERT_EQ(two.places.size(), 2u);
    EXPECT_DOUBLE_EQ(two.places[0].thickness, 5.2 - 5.0);
    EXPECT_DOUBLE_EQ(two.places[1].thickness, 0.3);
    EXPECT_EQ(two.places[0].numTriangles, 4u);
    for (std::size_t i = 0; i < slabs.indices.size(); i += 3) std::swap(slabs.indices[i], slabs.indices[i + 1]);
    EXPECT_EQ(measureThinPlaces(slabs, 4.0).numTriangles, 0u) << "turned inside out";
    EXPECT_EQ(measureThinPlaces(slabs, 5.0).places.size(), 1u) << "the gap between them";
}
