// Whole runs over clouds that thin out along x.

#include <gtest/gtest.h>
#include <zef/zef.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>

using namespace QUOR_ZEF;

namespace {

class Random {
public:
    explicit Random(std::uint32_t seed) : engine(seed) {}
    double operator()(double low, double high) { return low + (high - low) * static_cast<double>(engine()) * 0x1p-32; }

private:
    std::mt19937 engine;
};

struct Surface {
    const char* name;
    double area, length;  // along x, from -length / 2 on
    std::int64_t euler;
    Point3 (*draw)(Random&);               // from an even distribution
    double (*getDistance)(const Point3&);  // to it
};

const Surface unevenPlane = {"plane",
                             2.0,
                             2.0,
                             1,
                             [](Random& random) {
                                 const double x = random(-1, 1), y = random(0, 1);
                                 return Point3(x, 0.8 * y, 0.6 * y);
                             },
                             [](const Point3& p) { return std::abs(0.8 * p.pz - 0.6 * p.py); }};

const Surface unevenSphere = {"sphere",
                              4.0 * M_PI,
                              2.0,
                              2,
                              [](Random& random) {
                                  const double x = random(-1, 1), u = random(0, 2 * M_PI), r = std::sqrt(1.0 - x * x);
                                  return Point3(x, r * std::cos(u), r * std::sin(u));
                              },
                              [](const Point3& p) { return std::abs((p - Point3()).length() - 1.0); }};

const Surface unevenTorus = {
    "torus",
    1.6 * M_PI* M_PI,
    2.8,
    0,
    [](Random& random) {
        double v = random(0, 2 * M_PI);
        while (random(0, 1.4) > 1.0 + 0.4 * std::cos(v)) v = random(0, 2 * M_PI);
        const double u = random(0, 2 * M_PI), r = 1.0 + 0.4 * std::cos(v);
        return Point3(r * std::cos(u), r * std::sin(u), 0.4 * std::sin(v));
    },
    [](const Point3& p) { return std::abs(std::hypot(std::hypot(p.px, p.py) - 1.0, p.pz) - 0.4); }};

const Surface unevenBox = {"box",
                           24.0,
                           2.0,
                           2,
                           [](Random& random) {
                               const double face = random(0, 3), a = random(-1, 1), b = random(-1, 1);
                               const double c = random(-1, 1) < 0 ? -1 : 1;
                               return face < 1 ? Point3(c, a, b) : face < 2 ? Point3(a, c, b) : Point3(a, b, c);
                           },
                           [](const Point3& p) {
                               const Vector3 beyond(std::abs(p.px) - 1, std::abs(p.py) - 1, std::abs(p.pz) - 1);
                               const double most = std::max({beyond.vx, beyond.vy, beyond.vz});
                               const auto out = [](double x) { return std::max(x, 0.0); };
                               return most < 0 ? -most
                                               : Vector3(out(beyond.vx), out(beyond.vy), out(beyond.vz)).length();
                           }};

// Random samples, of which so many times fewer lie at the far end of x.
struct Scan {
    const Surface& surface;
    double falls;
    bool bSteps;  // in four steps
    std::vector<Point3> vPoints = {};
    double numDrawn = 0.0;
    double cell = 0.0;

    Scan(const Surface& s, double density, bool bInSteps, std::size_t numPoints = 30'000)
        : surface(s), falls(density), bSteps(bInSteps) {
        Random random(7);
        for (; vPoints.size() < numPoints; ++numDrawn) {
            const Point3 p = surface.draw(random);
            if (random(0, 1) < getShare(p)) vPoints.push_back(p);
        }
    }
    double getShare(const Point3& p) const {
        const double t = std::clamp(p.px / surface.length + 0.5, 0.0, 1.0);
        return std::pow(falls, bSteps ? -std::min(std::floor(4.0 * t), 3.0) / 3.0 : -t);
    }
    // The root of the area for each point there, in the grid a cell at least.
    double getSpacing(const Point3& p) const {
        return std::max(cell, std::sqrt(surface.area / (numDrawn * getShare(p))));
    }
    // The largest distance from one of some points to the nearest of others, in spacings there.
    double getFarthest(const std::vector<Point3>& vFrom, std::vector<Point3> vTo) const {
        std::sort(vTo.begin(), vTo.end());
        double farthest = 0.0;
        for (const Point3& p : vFrom) {
            const double spacing = getSpacing(p), beyond = p.px + 6.0 * spacing;
            double nearest = 6.0 * spacing;
            auto it = std::lower_bound(vTo.begin(), vTo.end(), Point3(p.px - nearest, -9.0, 0.0));
            for (; it != vTo.end() && it->px < beyond; ++it) nearest = std::min(nearest, (*it - p).length());
            farthest = std::max(farthest, nearest / spacing);
        }
        return farthest;
    }
};

bool areEqual(const TriangleMesh& a, const TriangleMesh& b) {
    return a.vertices == b.vertices && a.indices == b.indices;
}

// Distances from the surface, in spacings there: of 99 in 100 vertices, and of all.
void expectWhole(const Surface& surface, double falls, bool bSteps, double usual, double most) {
    SCOPED_TRACE(surface.name + std::string(bSteps ? " in steps, " : ", ") + std::to_string(falls));
    Scan scan(surface, falls, bSteps);
    const Reconstruction made = reconstruct(scan.vPoints);
    scan.cell = made.spacing;
    EXPECT_EQ(made.density.uneven, falls > 4.0);
    const MeshReport report = check(made.mesh);
    EXPECT_TRUE(report.manifold && report.oriented);
    EXPECT_EQ(report.numComponents, 1u);
    EXPECT_EQ(report.euler, surface.euler);
    EXPECT_EQ(report.numBorderLoops, surface.euler == 1 ? 1u : 0u);
    EXPECT_NEAR(report.area / surface.area, 1.0, 0.035);
    std::vector<double> vDistances;
    for (const Point3& p : made.mesh.vertices) vDistances.push_back(surface.getDistance(p) / scan.getSpacing(p));
    std::sort(vDistances.begin(), vDistances.end());
    EXPECT_LT(vDistances[vDistances.size() * 99 / 100], usual);
    EXPECT_LT(vDistances.back(), most);
    EXPECT_LT(scan.getFarthest(made.mesh.vertices, scan.vPoints), 3.5);
    EXPECT_LT(scan.getFarthest(scan.vPoints, made.mesh.vertices), 2.5);
}

void expectWhole(const Surface& surface, double usual, double most) {
    expectWhole(surface, 16.0, false, usual, most);
    expectWhole(surface, 64.0, true, usual, most);
}

}  // namespace

TEST(UnevenClouds, ofAPlaneGiveOneSheet) {
    expectWhole(unevenPlane, 0.01, 0.5);
}

TEST(UnevenClouds, ofASphereAreClosedAndKeepTheirBulge) {
    expectWhole(unevenSphere, 4.0, true, 0.3, 1.0);
    expectWhole(unevenSphere, 0.15, 0.5);
}

TEST(UnevenClouds, ofATorusAreClosedAndKeepTheirHole) {
    expectWhole(unevenTorus, 0.35, 1.1);
}

TEST(UnevenClouds, ofABoxAreClosedAndKeepTheirEdges) {
    expectWhole(unevenBox, 0.7, 1.5);
}

TEST(UnevenClouds, giveTheSameBytesForAnyNumberOfThreadsAndOrderOfPoints) {
    Scan scan(unevenTorus, 64.0, true, 12'000);
    // Also where many points are equally near.
    for (const double step : {0.0, 0x1p-8}) {
        const ReconstructOptions options{.spacing = 4.0 * step};
        for (Point3& p : scan.vPoints)
            if (step > 0.0) p.set(std::round(p.px / step) * step, std::round(p.py / step) * step, p.pz);
        const TriangleMesh once = reconstruct(scan.vPoints, options, {.threads = 1}).mesh;
        std::shuffle(scan.vPoints.begin(), scan.vPoints.end(), std::mt19937(5));
        EXPECT_TRUE(areEqual(reconstruct(scan.vPoints, options, {.threads = 3}).mesh, once));
    }
}

TEST(UnevenClouds, areThoseWhereEvenOnesStayAsTheyAre) {
    for (const Surface& surface : {unevenPlane, unevenSphere, unevenTorus, unevenBox}) {
        const Scan scan(surface, 1.0, false);
        const Reconstruction made = reconstruct(scan.vPoints);
        EXPECT_FALSE(made.density.uneven);
        EXPECT_TRUE(areEqual(made.mesh, reconstruct(scan.vPoints, {.density = Density::EVEN}).mesh)) << surface.name;
    }
}

TEST(UnevenClouds, areServedUpToALevelAndWithinABudget) {
    const Scan scan(unevenSphere, 64.0, true, 12'000);
    std::string told;
    int numTold = 0;
    const Context context{.message = [&](Severity severity, std::string_view text) {
        if (severity != Severity::WARNING) return;
        told = text;
        ++numTold;
    }};
    const auto made = reconstruct(scan.vPoints, {}, context), dense = reconstruct(scan.vPoints, {.levels = 1}, context);
    for (const Reconstruction* p : {&made, &dense}) {
        const auto& vCounts = p->density.levelPoints;
        EXPECT_EQ(vCounts.size(), p == &made ? 5u : 2u);
        EXPECT_EQ(std::accumulate(vCounts.begin(), vCounts.end(), std::uint64_t{0}), p->numPoints - p->numOutliers);
    }
    EXPECT_LT(dense.density.numAddedPoints, made.density.numAddedPoints);
    EXPECT_LT(check(dense.mesh).area, 0.95 * check(made.mesh).area);
    EXPECT_EQ(numTold, 0);

    const Reconstruction fine = reconstruct(scan.vPoints, {.spacing = made.spacing / 6.0, .growSteps = 0}, context);
    EXPECT_LT(fine.density.levelPoints.size(), 5u);
    EXPECT_EQ(fine.density.coarsening, 1.0);
    EXPECT_LT(fine.density.numAddedPoints, 7 * fine.numPoints);
    EXPECT_EQ(numTold, 1);
    EXPECT_NE(told.find("give a larger spacing"), std::string::npos) << told;

    // Most points on a small part of the plane.
    std::vector<Point3> vPoints;
    Random random(3);
    for (int i = 0; i < 30'000; ++i) {
        const double side = i % 10 ? 0.1 : 1.0, x = random(0, side), y = random(0, side);
        vPoints.emplace_back(x, 0.8 * y, 0.6 * y);
    }
    const Reconstruction coarse = reconstruct(vPoints, {.levels = 6}, context);
    EXPECT_GT(coarse.density.coarsening, 1.0);
    EXPECT_DOUBLE_EQ(coarse.spacing, 1.3 * coarse.measuredSpacing * coarse.density.coarsening);
    EXPECT_LT(coarse.density.numAddedPoints, 7 * coarse.numPoints);
    EXPECT_NEAR(check(coarse.mesh).area, 1.0, 0.055);
    EXPECT_EQ(numTold, 2);
    EXPECT_NE(told.find("times coarser"), std::string::npos) << told;
}

// Whatever a grid takes over: the spacing, sparse parts and their levels, more smoothing, what flies, the budget of
// cells.
TEST(GridsOfScans, giveTheMeshThatTheyWereMeasuredFor) {
    Random random(8);
    Scan even(unevenSphere, 1.0, false, 6'000), noisy = even, uneven(unevenTorus, 64.0, true, 8'000);
    for (Point3& p : noisy.vPoints) p = p + (p - Point3()) * random(-0.06, 0.06);
    even.vPoints.emplace_back(1.6, 1.6, 1.6);
    std::vector<Point3> vDenseCorner;
    for (int i = 0; i < 10'000; ++i) {
        const double side = i % 10 ? 0.1 : 1.0, x = random(0, side), y = random(0, side);
        vDenseCorner.emplace_back(x, y, 0.0);
    }
    const ReconstructOptions coarse{.spacing = 0.07}, denser{.levels = 1};
    for (const auto& [vPoints, options] : {std::pair(even.vPoints, ReconstructOptions()),
                                           {noisy.vPoints, {}},
                                           {uneven.vPoints, {}},
                                           {uneven.vPoints, denser},
                                           {uneven.vPoints, coarse},
                                           {vDenseCorner, {}}}) {
        ReconstructOptions given;
        given.grid = measureGrid(vPoints, options);
        const Reconstruction measured = reconstruct(vPoints, options), taken = reconstruct(vPoints, given);
        EXPECT_TRUE(areEqual(measured.mesh, taken.mesh)) << vPoints.size();
        EXPECT_EQ(taken.spacing, measured.spacing);
        EXPECT_EQ(taken.measuredSpacing, measured.measuredSpacing);
        EXPECT_EQ(taken.numOutliers, measured.numOutliers);
    }
    EXPECT_TRUE(measureGrid(noisy.vPoints).smooth && measureGrid(uneven.vPoints).uneven);
    EXPECT_EQ(reconstruct(even.vPoints, {.grid = measureGrid(even.vPoints)}).numOutliers, 1u);
}
