#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <set>
#include <utility>
#include <vector>

#include "frame/Rand15.h"
#include "solid/LatticeSet.h"
#include "solid/SampleIndex.h"
#include "support/shapes.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

constexpr int side = 9;

bool isNearMargin(const LatticePoint& p) {
    return std::min({p.x, p.y, p.z}) < 1 || std::max({p.x, p.y, p.z}) > side - 2;
}

template <class Fn>
void forEachPoint(const Fn& fn) {
    for (int i = 0; i < side * side * side; ++i) fn(LatticePoint{i % side, i / side % side, i / side / side});
}

LatticeSet randomSet(std::uint32_t seed, int percent, std::set<uint64>& sModel) {
    Rand15 rand(seed);
    LatticeSet set({side, side, side}, [](auto...) {});
    forEachPoint([&](const LatticePoint& p) {
        if (!isNearMargin(p) && rand.next() % 100 < percent) sModel.insert(codeOf(p));
    });
    set.add(std::vector<uint64>(sModel.begin(), sModel.end()));
    return set;
}

void add(TriangleMesh& mesh, const Shape& shape) {
    const auto first = static_cast<std::uint32_t>(mesh.vertices.size());
    mesh.vertices.insert(mesh.vertices.end(), shape.vertices.begin(), shape.vertices.end());
    for (const std::uint32_t i : shape.triples) mesh.indices.push_back(first + i);
}

TriangleMesh boxesOf(std::initializer_list<std::pair<Point3, Point3>> corners) {
    TriangleMesh mesh;
    for (const auto& [low, high] : corners) add(mesh, box(low, high));
    return mesh;
}

MeshReport expectEmbedded(const TriangleMesh& mesh) {
    MeshReport report = check(mesh);
    EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
    return report;
}

}  // namespace

TEST(LatticeSet, enclosedAndInnerPointsAreThoseOfAFlood) {
    for (std::uint32_t seed = 1; seed < 5; ++seed) {
        std::set<uint64> sModel, sOther;
        LatticeSet set = randomSet(seed, 68, sModel), inner = randomSet(seed + 9, 50, sOther);
        inner.keepWithin(set);
        set.fillEnclosed();
        std::set<uint64> sOutside{codeOf({0, 0, 0})};
        for (std::size_t numBefore = 0; numBefore != sOutside.size();) {
            numBefore = sOutside.size();
            forEachPoint([&](const LatticePoint& p) {
                const auto isOut = [&](int dx, int dy, int dz) {
                    return sOutside.contains(
                        codeOf({std::max(p.x + dx, 0), std::max(p.y + dy, 0), std::max(p.z + dz, 0)}));
                };
                if (!sModel.contains(codeOf(p)) && (isOut(-1, 0, 0) || isOut(1, 0, 0) || isOut(0, -1, 0) ||
                                                    isOut(0, 1, 0) || isOut(0, 0, -1) || isOut(0, 0, 1)))
                    sOutside.insert(codeOf(p));
            });
        }
        forEachPoint([&](const LatticePoint& p) {
            EXPECT_EQ(set.has(p), !sOutside.contains(codeOf(p)));
            bool bKept = sOther.contains(codeOf(p));
            for (int i = 0; i < 27 && bKept; ++i)
                bKept = sModel.contains(codeOf({p.x + i % 3 - 1, p.y + i / 3 % 3 - 1, p.z + i / 9 - 1}));
            EXPECT_EQ(inner.has(p), bKept);
        });
    }
}

// Among them plates and gaps below a cell, needles, and crossings at all angles.
TEST(Melt, closedSoupNeverLeaks) {
    Rand15 rand(3);
    const auto coordinate = [&] { return rand.next() % 1000 / 1000.0; };
    for (int round = 0; round < 4; ++round) {
        TriangleMesh soup;
        for (int i = 0; i < 5; ++i) {
            Shape shape = box({0, 0, 0}, {1, 1, 1});
            for (Point3& p : shape.vertices) p.set(coordinate(), coordinate(), coordinate());
            add(soup, shape);
        }
        add(soup, box({0.2, 0.2, 0.2}, {0.9, 0.9, 0.22}));
        expectEmbedded(melt(soup, {.spacing = 0.05 + 0.02 * round}));
    }
}

TEST(Melt, outerLeavesOutWhatIsInsideAndSharedButNoThinWall) {
    const TriangleMesh soup =
        boxesOf({{{0, 0, 0}, {1, 1, 1}}, {{0.5, 0.5, 0.5}, {1.5, 1.5, 1.5}}, {{0.2, 0.2, 0.2}, {0.4, 0.4, 0.4}}});
    const MeshReport outer = expectEmbedded(melt(soup, {.spacing = 0.05, .outer = true}));
    EXPECT_EQ(outer.numComponents, 1u);
    EXPECT_NEAR(outer.volume, 1.875, 0.03);
    EXPECT_GT(expectEmbedded(melt(soup, {.spacing = 0.05})).numComponents, 1u);

    TriangleMesh hollow = boxesOf({{{0, 0, 0}, {1, 1, 1}}, {{0.01, 0.01, 0.01}, {0.99, 0.99, 0.99}}});
    std::reverse(hollow.indices.begin() + 36, hollow.indices.end());
    EXPECT_NEAR(expectEmbedded(melt(hollow, {.spacing = 0.07, .outer = true})).volume, 1.0, 0.1);

    const Shape sheet = gridSheet(9, 9);
    EXPECT_THROW(melt(soupOf(sheet), {.spacing = 0.5, .outer = true}), ArgumentError);
    EXPECT_THROW(melt(soup, {.mend = false, .outer = true}), ArgumentError);
}

// Three walls at an edge bound two places, of which none is just inside or outside.
TEST(Melt, wallBetweenTwoRoomsIsNoLeak) {
    Shape shape{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}},
                {0, 1, 2, 0, 1, 3, 1, 2, 3, 2, 0, 3, 0, 1, 4, 1, 2, 4, 2, 0, 4}};
    EXPECT_EQ(expectEmbedded(melt(soupOf(shape), {.spacing = 0.06, .outer = true})).numComponents, 1u);
}

TEST(Melt, holeOfFewCellsStaysOpen) {
    Shape sphere = icosphere(3);
    TriangleMesh open{sphere.vertices, {}};
    for (std::size_t i = 0; i < sphere.triples.size(); i += 3)
        if (sphere.vertices[sphere.triples[i]].pz < 0.8)
            open.indices.insert(open.indices.end(), &sphere.triples[i], &sphere.triples[i] + 3);
    for (const double spacing : {0.07, 0.1, 0.13}) {
        const MeshReport report = check(melt(open, {.spacing = spacing}));
        EXPECT_TRUE(report.manifold && report.oriented);
        EXPECT_EQ(report.numBorderLoops, 1u) << spacing;
    }
}

namespace {

// The farthest that a place of a triangle lies from its nearest sample.
double farthestOf(const std::array<Point3, 3>& corners, const std::vector<SolidSample>& vSamples) {
    constexpr int num = 60;
    double farthest = 0.0;
    for (int i = 0; i <= num; ++i) {
        for (int j = 0; j <= num - i; ++j) {
            const Point3 p =
                corners[0] + (corners[1] - corners[0]) * (1.0 * i / num) + (corners[2] - corners[0]) * (1.0 * j / num);
            double nearest = 1e9;
            for (const SolidSample& sample : vSamples) nearest = std::min(nearest, (sample.place - p).length());
            farthest = std::max(farthest, nearest);
        }
    }
    return farthest;
}

}  // namespace

// A sheet of samples with a hole somewhere, under triangles of all shapes.
TEST(SampleIndex, tellsWhetherAllOfATriangleIsNear) {
    constexpr double most = 1.25, step = 0.4;  // cells
    Rand15 rand(7);
    const auto place = [&] {
        const double x = rand.next() % 12, y = rand.next() % 12;
        return Point3(x + 4.5, y + 4.5, 4.1);
    };
    int numNear = 0, numFar = 0;
    for (int round = 0; round < 300; ++round) {
        const Point3 hole = place();
        std::vector<SolidSample> vSamples;
        for (int i = 0; i < 144; ++i) {
            const LatticePoint cell = {i % 12 + 4, i / 12 + 4, 4};
            const Point3 p(cell.x + 0.5, cell.y + 0.5, cell.z + 0.1);
            if ((p - hole).length() > 1.3 * (round % 3)) vSamples.push_back({cell, p});
        }
        const std::array<Point3, 3> corners = {place(), place(), place()};
        const bool bNear = isNearSamples({{corners[0], corners[1], corners[2]}, {0, 1, 2}}, {{0, 0, 0}, 1.0, vSamples});
        const double farthest = farthestOf(corners, vSamples);
        if (farthest < most - 0.05 || farthest > most + step) {
            EXPECT_EQ(bNear, farthest < most) << round;
        }
        (farthest <= most ? numNear : numFar) += 1;
    }
    EXPECT_GT(numNear, 50);
    EXPECT_GT(numFar, 50);
}
