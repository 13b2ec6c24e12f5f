#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <set>
#include <vector>

#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "support/shapes.h"
#include "untangle/holeFilling.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

TriangleMesh meshOf(const Shape& shape, const Vector3& shift = {}) {
    TriangleMesh mesh{shape.vertices, shape.triples};
    for (Point3& p : mesh.vertices) p = p + shift;
    return mesh;
}

TriangleMesh joined(TriangleMesh a, const TriangleMesh& b) {
    const auto offset = static_cast<std::uint32_t>(a.vertices.size());
    a.vertices.insert(a.vertices.end(), b.vertices.begin(), b.vertices.end());
    for (const std::uint32_t i : b.indices) a.indices.push_back(offset + i);
    return a;
}

double random(Rand15& rand) {
    return 2.0 * rand.next() / 32767.0 - 1.0;
}

Vector3 randomVector(Rand15& rand) {
    const double z = random(rand), y = random(rand), x = random(rand);
    return {x, y, z};
}

// One vertex of so many goes up to a distance along each axis.
void displace(TriangleMesh& mesh, std::size_t oneOf, double distance) {
    Rand15 rand;
    for (std::size_t i = 0; i < mesh.vertices.size(); i += oneOf)
        mesh.vertices[i] = mesh.vertices[i] + randomVector(rand) * distance;
}

double farthestMove(const TriangleMesh& a, const TriangleMesh& b) {
    double farthest = 0.0;
    for (const Point3& p : a.vertices) {
        double nearest = 1e300;
        for (const Point3& q : b.vertices) nearest = std::min(nearest, (p - q).length());
        farthest = std::max(farthest, nearest);
    }
    return farthest;
}

void expectSound(const TriangleMesh& mesh) {
    const MeshReport report = check(mesh);
    EXPECT_TRUE(report.manifold);
    EXPECT_TRUE(report.oriented);
    EXPECT_EQ(report.numDegenerateTriangles, 0u);
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
}

}  // namespace

// A cone over a ring, whose base is cut into triangles around the first vertex of the ring.
TEST(HoleFilling, takesTheLeastAreaAcrossNoEdgeThatIsThere) {
    Rand15 rand(5);
    for (std::uint32_t n = 4; n < 10; ++n) {
        TriangleMesh mesh{{{0.0, 0.0, 1.0}}, {}};
        std::vector<std::uint32_t> vGone;
        for (std::uint32_t i = 0; i < n; ++i) {
            const double turn = 2.0 * M_PI * i / n, reach = 1.5 + random(rand);
            mesh.vertices.emplace_back(reach * std::cos(turn), reach * std::sin(turn), 0.2 * random(rand));
            mesh.indices.insert(mesh.indices.end(), {0, 1 + i, 1 + (i + 1) % n});
            vGone.push_back(i);
        }
        for (std::uint32_t i = 2; i < n; ++i) mesh.indices.insert(mesh.indices.end(), {1, i + 1, i});
        ExactTriangles triangles(mesh);
        const TriangleGrid grid(triangles.places.v, triangles.vCorners);
        const TangledSurface surface(mesh, triangles, grid);
        const auto area = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
            return getTriangleArea(mesh.vertices[a], mesh.vertices[b], mesh.vertices[c]);
        };
        // Whatever lies between two vertices of the ring, these joined.
        const std::function<double(std::uint32_t, std::uint32_t)> least = [&](std::uint32_t i, std::uint32_t k) {
            if (k == i + 1) return 0.0;
            double best = std::numeric_limits<double>::infinity();
            for (std::uint32_t j = i + 1; j < k && (i > 1 || k == n); ++j)
                best = std::min(best, least(i, j) + least(j, k) + area(i, j, k));
            return best;
        };
        const auto vLoop = loopAround(surface, vGone);
        ASSERT_TRUE(vLoop && vLoop->size() == n);
        double sum = 0.0;
        const auto vFilling = fillLoop(surface, *vLoop, vGone);
        for (const auto& [a, b, c] : vFilling) sum += area(a, b, c);
        EXPECT_EQ(vFilling.size(), n - 2);
        EXPECT_NEAR(sum, least(1, n), 1e-9);
    }
}

TEST(Untangle, crowdsAreRefusedOrLeftAsTheyAre) {
    TriangleMesh mesh = meshOf(cone(70'000));
    const std::vector<std::uint32_t> indices = mesh.indices;
    EXPECT_THROW(countSelfIntersections(mesh), TooLargeError);
    std::string heard;
    const Context context{.message = [&](Severity, std::string_view text) { heard += text; }};
    EXPECT_EQ(untangle(mesh, context).numPairs, 0u);
    EXPECT_EQ(mesh.indices, indices);
    EXPECT_NE(heard.find("too many triangles"), std::string::npos);
    // What could only be kept apart if one looked is changed all the same.
    EXPECT_NO_THROW(smooth(mesh, {.steps = 1}));
}

// Each goes around the middle, and so through each other one.
TEST(Untangle, leavesThousandsThatAllIntersect) {
    Rand15 rand(5);
    TriangleMesh tangle;
    for (std::uint32_t i = 0; i < 3 * 3300; i += 3) {
        const Vector3 a = randomVector(rand), b = randomVector(rand), c = (a + b) * -1.0;
        for (const Vector3& v : {a, b, c}) tangle.vertices.emplace_back(v.vx, v.vy, v.vz);
        tangle.indices.insert(tangle.indices.end(), {i, i + 1, i + 2});
    }
    TriangleMesh left = tangle;
    const UntangleReport report = untangle(left);
    EXPECT_EQ(report.numPairs, 5'033'000U);
    EXPECT_EQ(report.numPairsLeft, 5'033'000U);
    EXPECT_EQ(left.indices, tangle.indices);
    for (std::size_t i = 0; i < tangle.vertices.size(); ++i)
        ASSERT_EQ((left.vertices[i] - tangle.vertices[i]).length(), 0.0);
}

TEST(Untangle, partsWhatDisplacedVerticesFold) {
    const TriangleMesh torusMesh = meshOf(torus(60, 30, 3.0, 1.0));
    for (const double distance : {0.6, 1.0}) {  // edges are 0.2 to 0.4
        TriangleMesh mesh = torusMesh;
        displace(mesh, 9, distance);
        const std::size_t numBefore = countSelfIntersections(mesh);
        ASSERT_GT(numBefore, 20u);
        const UntangleReport report = untangle(mesh);
        EXPECT_EQ(report.numPairs, numBefore);
        EXPECT_EQ(report.numPairsLeft, 0u);
        expectSound(mesh);
        EXPECT_TRUE(check(mesh).closed);
        EXPECT_EQ(check(mesh).components.at(0).genus, 1);
        EXPECT_GT(mesh.numTriangles(), torusMesh.numTriangles() * 3 / 4);
        EXPECT_LT(farthestMove(torusMesh, mesh), 0.6);
    }
}

TEST(Untangle, pushesSheetsApart) {
    TriangleMesh upper = meshOf(gridSheet(20, 20), {0.3, 0.4, 0.15});
    for (const std::size_t i : {147u, 148u, 168u}) upper.vertices[i].pz = -0.1;
    TriangleMesh mesh = joined(meshOf(gridSheet(20, 20)), upper);
    ASSERT_GT(countSelfIntersections(mesh), 10u);
    const std::size_t numBorderEdges = check(mesh).numBorderEdges;
    EXPECT_EQ(untangle(mesh).numPairsLeft, 0u);
    expectSound(mesh);
    EXPECT_EQ(check(mesh).numBorderEdges, numBorderEdges);
    EXPECT_EQ(check(mesh).numComponents, 2u);
}

TEST(Untangle, partsBodiesThatTouchInOnePlaceButNoSeams) {
    // The lowest vertex of one sphere is the highest of the other.
    TriangleMesh mesh = joined(meshOf(icosphere(2)), meshOf(icosphere(2)));
    const auto low = [](const Point3& a, const Point3& b) { return a.pz < b.pz; };
    const std::size_t half = mesh.vertices.size() / 2;
    const auto middle = mesh.vertices.begin() + static_cast<std::ptrdiff_t>(half);
    const Vector3 shift =
        *std::min_element(mesh.vertices.begin(), middle, low) - *std::max_element(middle, mesh.vertices.end(), low);
    for (std::size_t i = half; i < 2 * half; ++i) mesh.vertices[i] = mesh.vertices[i] + shift;
    const auto numPlaces = [](const TriangleMesh& m) {
        std::set<std::array<double, 3>> sPlaces;
        for (const Point3& p : m.vertices) sPlaces.insert({p.px, p.py, p.pz});
        return sPlaces.size();
    };
    ASSERT_LT(numPlaces(mesh), 2 * half);
    untangle(mesh);
    EXPECT_EQ(numPlaces(mesh), 2 * half);
    expectSound(mesh);

    TriangleMesh seam = joined(meshOf(gridSheet(5, 5)), meshOf(gridSheet(5, 5), {4.0, 0.0, 0.0}));
    const std::vector<Point3> vBefore = seam.vertices;
    untangle(seam);
    EXPECT_TRUE(std::equal(vBefore.begin(), vBefore.end(), seam.vertices.begin()));
}

TEST(Untangle, cutsOutWhatGoesThrough) {
    TriangleMesh upright = meshOf(gridSheet(20, 20));
    for (Point3& p : upright.vertices) p = Point3(p.px + 0.3, 9.6, p.py - 8.7);
    TriangleMesh mesh = joined(meshOf(gridSheet(20, 20)), upright);
    const std::size_t numTriangles = mesh.numTriangles();
    ASSERT_GT(countSelfIntersections(mesh), 40u);
    EXPECT_EQ(untangle(mesh).numPairsLeft, 0u);
    expectSound(mesh);
    EXPECT_GT(mesh.numTriangles(), numTriangles * 17 / 20);
}

TEST(Untangle, leavesAloneWhatDoesNotIntersect) {
    const TriangleMesh sound = meshOf(icosphere(3), {0.1, 0.2, 0.3});
    TriangleMesh mesh = sound;
    EXPECT_EQ(untangle(mesh).numPairs, 0u);
    EXPECT_EQ(mesh.indices, sound.indices);
    EXPECT_TRUE(std::equal(mesh.vertices.begin(), mesh.vertices.end(), sound.vertices.begin()));

    // Three triangles at an edge, and one through all of them.
    TriangleMesh fins = {
        {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, -1, 0.1}, {0.2, -1, 0.2}, {0.2, 2, 0.3}, {0.2, 0, 2}},
        {0, 1, 2, 0, 1, 3, 0, 1, 4, 5, 6, 7}};
    const TriangleMesh before = fins;
    EXPECT_GT(untangle(fins).numPairsLeft, 0u);
    EXPECT_EQ(fins.indices, before.indices);
}

TEST(Untangle, keepsFloatsAndTheBytesOfOtherPlaces) {
    const auto toFloats = [](TriangleMesh& mesh) {
        for (Point3& p : mesh.vertices) p.set(nearestFloats(p));
    };
    TriangleMesh mesh = meshOf(icosphere(4));
    toFloats(mesh);
    const TriangleMesh before = mesh;
    displace(mesh, 20, 0.3);
    toFloats(mesh);
    ASSERT_GT(untangle(mesh).numPairs, 0u);
    expectSound(mesh);
    std::size_t numSame = 0;
    for (const Point3& p : mesh.vertices) {
        for (const double x : {p.px, p.py, p.pz}) EXPECT_EQ(nearestFloat(x), x);
        if (std::find(before.vertices.begin(), before.vertices.end(), p) != before.vertices.end()) ++numSame;
    }
    EXPECT_GT(numSame, before.vertices.size() * 3 / 4);
}

TEST(Untangle, noReconstructionIntersectsItself) {
    Rand15 rand;
    for (std::size_t num = 40; num < 4000; num = num * 3 / 2) {
        std::vector<Point3> vPoints;
        while (vPoints.size() < num) {
            const Vector3 p = randomVector(rand);
            // A ball, and the skin of one, both squeezed.
            const double length = p.length(), wanted = vPoints.size() % 2 ? 1.0 : length;
            if (length > 0.1 && length < 1.0)
                vPoints.push_back(Point3() + Vector3(p.vx, p.vy, 0.2 * p.vz) * (wanted / length));
        }
        TriangleMesh mesh;
        try {
            mesh = reconstruct(vPoints).mesh;
        } catch (const NoSurfaceError&) {
            continue;
        }
        SCOPED_TRACE(num);
        EXPECT_EQ(countSelfIntersections(mesh), 0u);
        EXPECT_TRUE(check(mesh).manifold);
        EXPECT_TRUE(check(mesh).oriented);
    }
}

// Of two shells, the outer and coarser one shrinks into the other one, or loses what keeps it outside.
TEST(Untangle, refinementsKeepTrianglesApart) {
    const TriangleMesh shells = joined(meshOf(icosphere(3, 1.0)), meshOf(icosphere(2, 1.06), {0.035, 0, 0}));
    ASSERT_EQ(countSelfIntersections(shells), 0u);
    const auto pairsAfter = [&](const auto& refine, bool bUntangle) {
        TriangleMesh mesh = shells;
        refine(mesh, bUntangle);
        EXPECT_EQ(check(mesh).numComponents, 2u);
        return countSelfIntersections(mesh);
    };
    const auto doSmooth = [](TriangleMesh& mesh, bool bUntangle) { smooth(mesh, {.steps = 4, .untangle = bUntangle}); };
    const auto doSimplify = [](TriangleMesh& mesh, bool bUntangle) {
        simplify(mesh, {.targetTriangles = 100, .untangle = bUntangle});
        EXPECT_LT(mesh.numTriangles(), 1000u);
    };
    const auto doReduce = [](TriangleMesh& mesh, bool bUntangle) {
        reduceFlat(mesh, {.maxDeviationDeg = 40.0, .untangle = bUntangle});
    };
    EXPECT_GT(pairsAfter(doSmooth, false), 0u);
    EXPECT_EQ(pairsAfter(doSmooth, true), 0u);
    EXPECT_GT(pairsAfter(doSimplify, false), 0u);
    EXPECT_EQ(pairsAfter(doSimplify, true), 0u);
    EXPECT_GT(pairsAfter(doReduce, false), 0u);
    EXPECT_EQ(pairsAfter(doReduce, true), 0u);
}
