#include "simplify/reduceTo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "check/checkTriangles.h"
#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "refine/flatten.h"
#include "simplify/CostQueue.h"
#include "simplify/FanSurface.h"
#include "simplify/TriangleTree.h"
#include "support/digest.h"
#include "support/meshQueries.h"
#include "zef/exceptions.h"
#include "zef/refinement.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct ReduceTo : testing::Test {
    ReduceTo() { planProgress("test", {{"RM_rtscore", 1.0}, {"RM_rtloop", 1.0}, {"RM_rtmeas", 1.0}}); }
    ~ReduceTo() override { getProgress()->reset(); }
};

TriangleMesh flatOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

ReduceOptions target(std::size_t numTriangles) {
    ReduceOptions options;
    options.targetTriangles = numTriangles;
    return options;
}

ReduceOptions within(double maxError) {
    ReduceOptions options;
    options.maxError = maxError;
    return options;
}

// A sheet of waves, its left half dark and its right half light.
Shape waves(std::uint32_t num, double height) {
    Shape shape = gridSheet(num, num);
    for (Point3& p : shape.vertices) {
        p.set(p.px, p.py, height * std::sin(0.4 * p.px) * std::cos(0.3 * p.py));
        p.setColor(p.px < num / 2.0 ? 20 : 200, 100, 100, 255);
    }
    return shape;
}

// A sheet of slanting roofs, where the samples of the surface allow more than the error and a second try is needed.
Shape roofs(std::uint32_t num) {
    Shape shape = gridSheet(num, num);
    for (Point3& p : shape.vertices) p.set(p.px, p.py, std::abs(std::fmod(p.px + 0.5 * p.py, 9.0) - 4.5));
    return shape;
}

Vector3 vectorOf(const Point3& p) {
    return {p.px, p.py, p.pz};
}

Foot plainFoot(const FanSurface& surface, const Vector3& p) {
    Foot best;
    for (std::uint32_t i = 0; i < surface.numTriangles(); ++i) {
        Foot foot;
        foot.triangle = i;
        findFoot(p, surface.corner(i, 0), surface.corner(i, 1), surface.corner(i, 2), foot);
        if (foot.sqDistance < best.sqDistance) best = foot;
    }
    return best;
}

// The largest distance of the corners, and of the middles of sides and triangles.
double plainDistance(const TriangleMesh& fromMesh, const TriangleMesh& toMesh) {
    const FanSurface from(fromMesh), to(toMesh);
    double sq = 0.0;
    for (std::uint32_t i = 0; i < from.numTriangles(); ++i) {
        const Vector3 &a = from.corner(i, 0), &b = from.corner(i, 1), &c = from.corner(i, 2);
        const double third = 1.0 / 3.0;
        for (const Vector3& p : {a, weightedMean(a, b, c, 0.5, 0.5, 0.0), weightedMean(a, b, c, 0.0, 0.5, 0.5),
                                 weightedMean(a, b, c, third, third, third)})
            sq = std::max(sq, plainFoot(to, p).sqDistance);
    }
    return std::sqrt(sq);
}

std::vector<double> bytesOf(const TriangleMesh& mesh) {
    std::vector<double> v(mesh.indices.begin(), mesh.indices.end());
    for (const Point3& p : mesh.vertices) v.insert(v.end(), {p.px, p.py, p.pz, double(p.r), double(p.hasColor())});
    return v;
}

}  // namespace

TEST_F(ReduceTo, reachesTheTargetOnAClosedSurfaceAndStaysOutside) {
    const Shape sphere = icosphere(4);
    TriangleMesh mesh = flatOf(sphere);
    const double error = reduceTo(mesh, target(500));
    EXPECT_EQ(mesh.numTriangles(), 500u);
    const MeshReport report = checkTriangles(mesh);
    EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    EXPECT_EQ(report.euler, 2);
    EXPECT_NEAR(report.volume, 4.0 / 3.0 * M_PI, 0.06);
    EXPECT_LT(error, 0.02) << "chords of triangles of that size leave 0.016";
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const Point3 &a = mesh.vertices[mesh.indices[i]], &b = mesh.vertices[mesh.indices[i + 1]],
                     &c = mesh.vertices[mesh.indices[i + 2]];
        bool bOK = false;
        EXPECT_GT(triNormal(&a, &b, &c, bOK) * vectorOf(a), 0.9);
    }
    // Down to what topology allows.
    TriangleMesh ring = flatOf(torus(40, 20, 3.0, 1.0));
    reduceTo(ring, target(1));
    EXPECT_EQ(checkTriangles(ring).euler, 0);
    EXPECT_TRUE(checkTriangles(ring).manifold);
    EXPECT_LT(ring.numTriangles(), 60u);
}

TEST_F(ReduceTo, staysWithinTheErrorBothWaysAndTellsIt) {
    const TriangleMesh smooth = flatOf(waves(30, 1.5)), sharp = flatOf(roofs(20));
    for (const double limit : {0.02, 0.1, 0.4, 0.5}) {
        const TriangleMesh& input = limit == 0.4 ? sharp : smooth;
        TriangleMesh mesh = input;
        const double error = reduceTo(mesh, within(limit));
        EXPECT_LE(error, limit);
        const double plain = std::max(plainDistance(input, mesh), plainDistance(mesh, input));
        EXPECT_LE(plain, error * (1.0 + 1e-9));
        EXPECT_GT(plain, 0.5 * error);
        EXPECT_LT(mesh.numTriangles(), input.numTriangles() * (limit < 0.1 ? 9 : 5) / 10);
    }
    TriangleMesh mesh = smooth;
    const double error = reduceTo(mesh, target(200));
    EXPECT_GE(error * (1.0 + 1e-9), std::max(plainDistance(smooth, mesh), plainDistance(mesh, smooth)));
}

TEST_F(ReduceTo, leavesAFlatSquareInTwoTriangles) {
    for (const double offset : {0.0, 1e6}) {
        Shape sheet = gridSheet(21, 21);
        for (Point3& p : sheet.vertices) p.set(p.px + offset, p.py - offset, offset);
        TriangleMesh mesh = flatOf(sheet);
        EXPECT_LT(reduceTo(mesh, target(2)), 1e-6);
        ASSERT_EQ(mesh.numTriangles(), 2u);
        EXPECT_NEAR(checkTriangles(mesh).area, 400.0, 1e-4);
    }
}

TEST_F(ReduceTo, keepsBordersWhereTheyAre) {
    const TriangleMesh input = flatOf(openCylinder(64, 20, 1.0, 2.0));
    TriangleMesh mesh = input;
    reduceTo(mesh, target(200));
    const MeshReport report = checkTriangles(mesh);
    EXPECT_EQ(report.numBorderLoops, 2u);
    EXPECT_EQ(report.euler, 0);
    double low = 1.0, high = 1.0;
    for (const Point3& p : mesh.vertices) {
        low = std::min(low, p.pz);
        high = std::max(high, p.pz);
    }
    EXPECT_NEAR(low, 0.0, 0.01);
    EXPECT_NEAR(high, 2.0, 0.01);
    EXPECT_NEAR(report.area, 4.0 * M_PI, 0.15);
    // Where two borders lie on each other, they do not part.
    Shape halves = gridSheet(11, 11);
    const Shape other = gridSheet(11, 11);
    for (const Point3& p : other.vertices) halves.vertices.emplace_back(p.px + 10.0, p.py, 0.1 * p.px * p.px);
    for (const std::uint32_t i : other.triples) halves.triples.push_back(i + 121);
    mesh = flatOf(halves);
    reduceTo(mesh, target(40));
    EXPECT_EQ(std::count_if(mesh.vertices.begin(), mesh.vertices.end(), [](const Point3& p) { return p.px == 10.0; }),
              22);
}

TEST_F(ReduceTo, leavesBitForBitWhatItDoesNotMerge) {
    const TriangleMesh input = flatOf(waves(12, 1.0));
    TriangleMesh mesh = input;
    EXPECT_EQ(reduceTo(mesh, target(input.numTriangles())), 0.0);
    EXPECT_EQ(bytesOf(mesh), bytesOf(input));
    reduceTo(mesh, target(input.numTriangles() - 20));
    std::set<Point3> sInput(input.vertices.begin(), input.vertices.end());
    const auto numKept =
        std::count_if(mesh.vertices.begin(), mesh.vertices.end(), [&](const Point3& p) { return sInput.count(p) > 0; });
    EXPECT_GE(std::size_t(numKept), input.vertices.size() - 30);
    TriangleMesh empty;
    EXPECT_EQ(reduceTo(empty, target(1)), 0.0);
    EXPECT_THROW(reduceTo(mesh, ReduceOptions()), ZefBugException);
    EXPECT_THROW(reduceTo(mesh, within(-1.0)), ZefBugException);
    EXPECT_THROW(reduceTo(mesh, within(std::nan(""))), ZefBugException);
    // Nothing to go by, or too much.
    const double huge = 1e300;
    for (const Point3& far : {Point3(1, 1, 1), Point3(std::nan(""), 0, 0), Point3(huge, huge, -huge)}) {
        TriangleMesh odd{{Point3(1, 1, 1), Point3(1, 1, 1), Point3(1, 1, 1), far}, {0, 1, 2, 0, 2, 3}};
        reduceTo(odd, target(1));
        reduceTo(odd, within(0.0));
        EXPECT_EQ(odd.numTriangles(), 2u);
    }
}

// Soups, waves, roofs, a coloured checkerboard and a ball; recorded while reductions kept
// distances and colours within their bounds.
TEST_F(ReduceTo, givesTheRecordedTrianglesAndNothingNonManifold) {
    std::vector<std::uint64_t> vAll;
    for (std::uint32_t k = 0; k < 37; ++k) {
        Shape shape = k == 0 ? waves(24, 1.5) : k == 1 ? gridSheet(31, 31) : icosphere(3, 3.0);
        for (Point3& p : shape.vertices) {
            const bool bDark = (int(p.px) / 10 + int(p.py) / 10) % 2 == 0;
            if (k == 1) p.setColor(bDark ? 0 : 255, 100, bDark ? 40 : 20, 255);
        }
        if (k > 2) shape = k == 36 ? roofs(20) : randomSoup(k);
        const RMesh rMesh(shape.vertices, shape.triples, 1.0);
        const TriangleMesh input = flatten(rMesh, VertexOrder::MESH);
        for (int n = 0; n < 3; ++n) {
            TriangleMesh mesh = input;
            ReduceOptions options = n == 0 ? target(input.numTriangles() / 4)
                                           : within(k == 36 ? 0.4
                                                    : k > 2 ? 0.6
                                                            : 0.1);
            if (n == 2) options.maxColorStep = 20.0;
            const double error = reduceTo(mesh, options);
            vAll.insert(vAll.end(), mesh.indices.begin(), mesh.indices.end());
            vAll.push_back(std::uint64_t(std::llround(error * 1e6)));
            for (const Point3& p : mesh.vertices) vAll.push_back(p.r * 256u + p.b);
            const MeshReport before = checkTriangles(input), after = checkTriangles(mesh);
            ASSERT_LE(after.numNonManifoldEdges, before.numNonManifoldEdges) << k;
            ASSERT_LE(after.numNonManifoldVertices, before.numNonManifoldVertices) << k;
            ASSERT_EQ(after.numComponents, before.numComponents) << k;
        }
    }
    EXPECT_EQ(digest(vAll), 0x67a22b500b9a1108u);
}

// Each of many triangles at one edge, or around one vertex, used to look at all others again and again.
TEST_F(ReduceTo, comesToAnEndAtCrowdedEdgesAndVertices) {
    constexpr std::uint32_t num = 3000;
    for (const bool bEdge : {true, false}) {
        TriangleMesh mesh;
        mesh.vertices = {{0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}};
        for (std::uint32_t i = 0; i < num; ++i) {
            const double angle = 2.0 * 3.141592653589793 * i / num;
            mesh.vertices.emplace_back(std::cos(angle), std::sin(angle), 0.5);
            mesh.indices.insert(mesh.indices.end(), {0, 2 + i, bEdge ? 1 : 2 + (i + 1) % num});
        }
        EXPECT_LE(reduceTo(mesh, within(0.01)), 0.01);
        EXPECT_TRUE(bEdge || mesh.numTriangles() < 100) << mesh.numTriangles();
    }
}

TEST(CostQueue, givesTheLeastOfAllThatHasComeSoFar) {
    struct Entry {
        double cost;
        bool operator<(const Entry& other) const { return cost < other.cost; }
    };
    CostQueue<Entry> queue;
    std::multiset<double> model;
    Rand15 rand(7);
    for (int i = 0; i < 2'000 || !model.empty(); ++i) {
        for (int k = 0; i < 1'000 && k < 3; ++k) queue.push({*model.insert(std::ldexp(rand.next() % 99, i % 40 - 30))});
        Entry entry{};
        ASSERT_EQ(queue.pop(entry, [](const Entry&) { return false; }), !model.empty());
        if (model.empty()) continue;
        ASSERT_EQ(entry.cost, *model.begin());
        model.erase(model.begin());
    }
}

// From a corner the foot is on the side across from it; it is closer still in the triangle beyond.
TEST(FanSurface, walksOnOverTheSideThatAFootIsOn) {
    const std::vector<Point3> vertices = {{0.0, 0.0, 0.0}, {1.0, -1.0, 0.0}, {1.0, 1.0, 0.0}, {2.0, 0.0, 0.0}};
    for (const auto& first : {std::array{0u, 1u, 2u}, std::array{1u, 2u, 0u}, std::array{2u, 0u, 1u}}) {
        const FanSurface surface(TriangleMesh{vertices, {first[0], first[1], first[2], 1, 3, 2}});
        const Foot foot = surface.walkFrom(0, {1.6, 0.1, 0.5}, 0.0);
        EXPECT_EQ(foot.triangle, 1u);
        EXPECT_NEAR(foot.sqDistance, 0.25, 1e-12);
    }
}

TEST(TriangleTree, findsTheClosestPointThatPlainSearchFinds) {
    const Shape soup = randomSoup(3);
    const RMesh rMesh(soup.vertices, soup.triples, 1.0);
    const FanSurface surface(flatten(rMesh, VertexOrder::MESH));
    TriangleTree tree(surface);
    Rand15 rand(5);
    const auto coord = [&] { return rand.next() / 32767.0 * 6.0 - 1.0; };
    for (int i = 0; i < 500; ++i) {
        const double x = coord(), y = coord();
        const Vector3 p(x, y, coord());
        Foot foot;
        tree.findCloser(p, foot);
        ASSERT_NEAR(foot.sqDistance, plainFoot(surface, p).sqDistance, 1e-12);
        // Weights, triangle and distance tell of one point.
        const auto& w = foot.weights;
        ASSERT_NEAR(w[0] + w[1] + w[2], 1.0, 1e-12);
        const Vector3 q = weightedMean(surface.corner(foot.triangle, 0), surface.corner(foot.triangle, 1),
                                       surface.corner(foot.triangle, 2), w[0], w[1], w[2]);
        ASSERT_NEAR(difference(p, q).sqLength(), foot.sqDistance, 1e-9);
        ASSERT_GE(surface.walkFrom(0, p).sqDistance, foot.sqDistance - 1e-12);
    }
    // A triangle alone, against points all over it.
    const Vector3 a(0, 0, 0), b(3, 0, 1), c(1, 2, -1);
    for (int i = 0; i < 200; ++i) {
        const double x = coord(), y = coord();
        const Vector3 p(x, y, coord());
        Foot foot;
        findFoot(p, a, b, c, foot);
        double least = 1e300;
        forEachGridPoint(a, b, c, 0.04, [&](double wa, double wb, double wc) {
            least = std::min(least, difference(weightedMean(a, b, c, wa, wb, wc), p).sqLength());
        });
        ASSERT_LE(foot.sqDistance, least + 1e-12);
        ASSERT_NEAR(std::sqrt(foot.sqDistance), std::sqrt(least), 0.03);
    }
}

// Large triangles through one another, as needles and not, so that thousands of boxes are around each point.
TEST(TriangleTree, planesRuleOutNoTriangleThatIsNearest) {
    constexpr int most = Rand15::maxValue;
    for (const double width : {1.0, 1e-3, 1e-7}) {
        Rand15 rand(11);
        const auto place = [&] {
            const double x = 2.0 * rand.next() / most, y = width * rand.next() / most, z = width * rand.next() / most;
            return Point3(5.0 + x, 5.0 + y, 5.0 + z);
        };
        TriangleMesh soup;
        for (std::uint32_t i = 0; i < 6000; ++i) {
            soup.vertices.push_back(place());
            soup.indices.push_back(i);
        }
        const FanSurface surface(soup);
        TriangleTree tree(surface), whole(surface);
        whole.splitAll();
        std::size_t numRuledOut = 0;
        for (int i = 0; i < 60; ++i) {
            const Point3 at = place();
            const Vector3 p(at.px, at.py, at.pz);
            Foot foot, footInWhole;
            tree.findCloser(p, foot);
            whole.findCloserIn(p, footInWhole);
            const Foot plain = plainFoot(surface, p);
            ASSERT_EQ(foot.sqDistance, plain.sqDistance);
            ASSERT_EQ(footInWhole.sqDistance, plain.sqDistance);
            for (std::uint32_t t = 0; t < surface.numTriangles(); ++t) {
                Foot own;
                const std::array corners = {surface.corner(t, 0), surface.corner(t, 1), surface.corner(t, 2)};
                findFoot(p, corners[0], corners[1], corners[2], own);
                ASSERT_FALSE(isPlaneFarther(p, corners[0], corners[1], corners[2], own.sqDistance));
                numRuledOut += isPlaneFarther(p, corners[0], corners[1], corners[2], plain.sqDistance);
            }
        }
        EXPECT_GT(numRuledOut, std::size_t{60} * surface.numTriangles() / 2);
    }
}
