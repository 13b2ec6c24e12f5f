#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "flat/arrays.h"
#include "geometry/freeFunctions.h"
#include "refit/refitMesh.h"
#include "support/shapes.h"
#include "zef/reconstruction.h"
#include "zef/refinement.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// Numbers that are the same everywhere.
class Random {
public:
    double operator()() { return (static_cast<double>(engine()) + 0.5) * 0x1p-32; }
    double normal() {
        const double radius = std::sqrt(-2.0 * std::log((*this)()));
        return radius * std::cos(2.0 * M_PI * (*this)());
    }
    Vector3 direction() {
        const double z = normal(), y = normal(), x = normal();
        return normalize(Vector3(x, y, z));
    }

private:
    std::mt19937 engine{11};
};

// Random points of a box around the origin, displaced along its normals.
std::vector<Point3> boxPoints(const Vector3& half, std::size_t num, double noise) {
    Random random;
    const double xy = half.vx * half.vy, yz = half.vy * half.vz, zx = half.vz * half.vx;
    std::vector<Point3> vPoints;
    while (vPoints.size() < num) {
        const double which = random() * (xy + yz + zx), sign = random() < 0.5 ? -1.0 : 1.0;
        const double z = 2.0 * random() - 1.0, y = 2.0 * random() - 1.0, x = 2.0 * random() - 1.0;
        Point3 p(half.vx * x, half.vy * y, half.vz * z);
        const double away = noise * random.normal();
        if (which < xy)
            p.pz = sign * half.vz + away;
        else if (which < xy + yz)
            p.px = sign * half.vx + away;
        else
            p.py = sign * half.vy + away;
        vPoints.push_back(p);
    }
    return vPoints;
}

// Of radius 1; lowest: the z from which on it is there.
std::vector<Point3> spherePoints(std::size_t num, double noise, double lowest = -1.0) {
    Random random;
    std::vector<Point3> vPoints;
    while (vPoints.size() < num)
        if (const Vector3 out = random.direction(); out.vz >= lowest)
            vPoints.push_back(Point3() + out * (1.0 + noise * random.normal()));
    return vPoints;
}

double spacingOf(double area, std::size_t num) {
    return std::sqrt(area / static_cast<double>(num));
}

double rms(const std::vector<Point3>& vPoints, const std::function<double(const Point3&)>& error) {
    double sum = 0.0;
    for (const Point3& p : vPoints) sum += error(p) * error(p);
    return std::sqrt(sum / static_cast<double>(vPoints.size()));
}

double distanceTo(const TriangleMesh& mesh, const Point3& p) {
    constexpr int parts = 8;
    double sqNearest = 1e300;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const Point3 &a = mesh.vertices[mesh.indices[i]], &b = mesh.vertices[mesh.indices[i + 1]],
                     &c = mesh.vertices[mesh.indices[i + 2]];
        if ((a - p).sqLength() > 4.0 * ((b - a).sqLength() + (c - a).sqLength())) continue;
        for (int u = 0; u <= parts; ++u)
            for (int v = 0; u + v <= parts; ++v)
                sqNearest = std::min(
                    sqNearest, (a + (b - a) * (double(u) / parts) + (c - a) * (double(v) / parts) - p).sqLength());
    }
    return std::sqrt(sqNearest);
}

// Of triangles across each edge, degrees, ascending.
std::vector<double> anglesOf(const TriangleMesh& mesh) {
    std::map<std::pair<std::uint32_t, std::uint32_t>, Vector3> normals;
    std::vector<double> vAngles;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const std::array corner = {mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2], mesh.indices[i]};
        const Vector3 u = mesh.vertices[corner[1]] - mesh.vertices[corner[0]],
                      v = mesh.vertices[corner[2]] - mesh.vertices[corner[0]];
        const Vector3 n = normalize({u.vy * v.vz - u.vz * v.vy, u.vz * v.vx - u.vx * v.vz, u.vx * v.vy - u.vy * v.vx});
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [it, bNew] = normals.try_emplace(std::minmax(corner[k], corner[k + 1]), n);
            if (!bNew) vAngles.push_back(std::acos(std::clamp(it->second * n, -1.0, 1.0)) * 180.0 / M_PI);
        }
    }
    std::sort(vAngles.begin(), vAngles.end());
    return vAngles;
}

PointView viewOf(const std::vector<Point3>& vPoints) {
    return {&vPoints.front().px, vPoints.size(), sizeof(Point3) / sizeof(double)};
}

}  // namespace

TEST(Refit, noisyBoxGetsSharpEdgesAndCorners) {
    constexpr std::size_t num = 30'000;
    const double spacing = spacingOf(24.0, num);
    const Reconstruction made = reconstruct(boxPoints({1, 1, 1}, num, 0.2 * spacing));
    std::vector<Point3> vEdges;
    for (int i = 0; i < 60; ++i) vEdges.emplace_back(-0.9 + 0.03 * i, i & 1 ? 1 : -1, i & 2 ? 1 : -1);
    EXPECT_LT(rms(vEdges, [&](const Point3& p) { return distanceTo(made.mesh, p); }), 0.2 * spacing);
    for (int i = 0; i < 8; ++i)
        EXPECT_LT(distanceTo(made.mesh, {i & 1 ? 1.0 : -1.0, i & 2 ? 1.0 : -1.0, i & 4 ? 1.0 : -1.0}), 0.3 * spacing)
            << i;
    EXPECT_NEAR(made.refit.noise * made.measuredSpacing, 0.2 * spacing, 0.03 * spacing);
    EXPECT_GT(made.refit.numCreaseVertices, 100u);
    EXPECT_TRUE(check(made.mesh).closed);
    EXPECT_EQ(countSelfIntersections(made.mesh), 0u);
}

// Their tips lie away from all points more often than not. Without corners of its own, one of ten is cut.
TEST(Refit, cleanBoxesGetTheirCorners) {
    std::vector<double> vAway;
    for (std::size_t num = 8'000; num < 16'000; num += 1'000) {
        const TriangleMesh mesh = reconstruct(boxPoints({1, 0.8, 0.6}, num, 0.0)).mesh;
        const double spacing = spacingOf(8.0 * (0.8 + 0.48 + 0.6), num);
        for (int i = 0; i < 8; ++i)
            vAway.push_back(distanceTo(mesh, {i & 1 ? 1.0 : -1.0, i & 2 ? 0.8 : -0.8, i & 4 ? 0.6 : -0.6}) / spacing);
    }
    std::sort(vAway.begin(), vAway.end());
    EXPECT_LT(vAway[vAway.size() * 9 / 10], 0.25);
    EXPECT_LT(vAway[vAway.size() * 15 / 16], 0.5);
}

TEST(Refit, noisySphereStaysASphere) {
    constexpr std::size_t num = 20'000;
    const double spacing = spacingOf(4.0 * M_PI, num);
    const Reconstruction made = reconstruct(spherePoints(num, 0.3 * spacing));
    EXPECT_LT(rms(made.mesh.vertices, [](const Point3& p) { return (p - Point3()).length() - 1.0; }), 0.08 * spacing);
    const std::vector<double> vAngles = anglesOf(made.mesh);
    EXPECT_LT(vAngles[vAngles.size() / 2], 4.0);            // its own are 2
    EXPECT_LT(vAngles[vAngles.size() * 999 / 1000], 12.0);  // no edges between facets
    EXPECT_LT(made.refit.numCreaseVertices, 20u);           // at slivers
}

TEST(Refit, thinNoisyPlateKeepsBothSides) {
    constexpr std::size_t num = 20'000;
    const double spacing = spacingOf(8.0, num), half = 3.0 * spacing;
    const Reconstruction made = reconstruct(boxPoints({1, 1, half}, num, 0.15 * spacing));
    const auto error = [&](const Point3& p) {
        const bool bRim = std::max(std::abs(p.px), std::abs(p.py)) > 0.9;
        return bRim ? 0.0 : std::abs(p.pz) - half;
    };
    EXPECT_LT(rms(made.mesh.vertices, error), 0.08 * spacing);
    EXPECT_EQ(check(made.mesh).euler, 2);
}

TEST(Refit, rimOfAHalfSphereStays) {
    constexpr std::size_t num = 10'000;
    const double spacing = spacingOf(2.0 * M_PI, num);
    const std::vector<Point3> vPoints = spherePoints(num, 0.3 * spacing, 0.0);
    ReconstructOptions options;
    options.refit = false;
    const TriangleMesh before = reconstruct(vPoints, options).mesh, after = reconstruct(vPoints).mesh;
    const auto rimOf = [&](const TriangleMesh& mesh) {
        std::vector<Point3> vRim;
        for (const auto& [low, high] : borderEdges(mesh)) vRim.push_back(mesh.vertices[low]);
        return vRim;
    };
    const auto height = [](const Point3& p) { return p.pz; };
    ASSERT_EQ(rimOf(after).size(), rimOf(before).size());
    EXPECT_NEAR(rms(rimOf(after), height), rms(rimOf(before), height), 0.1 * spacing);
    EXPECT_LT(rms(after.vertices, [](const Point3& p) { return (p - Point3()).length() - 1.0; }), 0.1 * spacing);
}

TEST(Refit, doesNotBlowUpOnWhatIsNoSurface) {
    Random random;
    std::vector<Point3> vBall, vPlane, vLine;
    while (vBall.size() < 4000)
        if (const Point3 p(random(), random(), random()); (p - Point3(0.5, 0.5, 0.5)).length() < 0.5)
            vBall.push_back(p);
    for (int i = 0; i < 2500; ++i) vPlane.emplace_back(i % 50, i / 50, 0.0);
    for (int i = 0; i < 500; ++i) vLine.emplace_back(i, 0.0, 0.0);
    for (const auto* pPoints : {&vBall, &vPlane}) {
        const Reconstruction made = reconstruct(*pPoints);
        EXPECT_TRUE(check(made.mesh).manifold);
        EXPECT_LE(made.refit.maxMove, 3.0 * made.spacing);
        for (const Point3& p : made.mesh.vertices) ASSERT_TRUE(std::isfinite(p.px + p.py + p.pz));
    }
    EXPECT_THROW(reconstruct(vLine), NoSurfaceError);
    TriangleMesh mesh{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}}, {0, 1, 2, 0, 3, 1}};
    refit(mesh, viewOf(vLine), {1.0, 0.0});  // one triangle has no area
    EXPECT_EQ(mesh.indices.size(), 6u);
}

TEST(Refit, leadsNoVertexAwayFromAllPoints) {
    Random random;
    std::vector<Point3> vPoints;
    while (vPoints.size() < 3000) {
        const double x = random(), y = random(), z = random();
        vPoints.emplace_back(x, y, z);
    }
    ReconstructOptions options;
    options.refit = false;
    Reconstruction made = reconstruct(vPoints, options);
    const std::vector<Point3> vBefore = made.mesh.vertices;
    refitMesh(made.mesh, viewOf(vPoints), {made.measuredSpacing, 0.0});
    const auto toPoints = [&](const Point3& p) {
        double least = 1e9;
        for (const Point3& q : vPoints) least = std::min(least, (p - q).length());
        return least;
    };
    const double edge = meanSideLength(made.mesh);
    for (std::size_t i = 0; i < vBefore.size(); ++i) {
        if (toPoints(vBefore[i]) > 0.5 * edge) continue;
        EXPECT_LT(toPoints(made.mesh.vertices[i]), 1.5 * edge) << i;
    }
}

// As pieces of a scan may lie in one tile and in another.
TEST(Refit, fitsAMeshTurnedInsideOutAlike) {
    const std::vector<Point3> vPoints = boxPoints({1, 1, 1}, 20'000, 0.01);
    ReconstructOptions options;
    options.refit = options.untangle = false;
    TriangleMesh mesh = reconstruct(vPoints, options).mesh;
    TriangleMesh turned = mesh;
    for (std::size_t side = 0; side < turned.indices.size(); side += 3)
        std::swap(turned.indices[side + side % 2], turned.indices[side + 2]);
    const RefitScale scale{meanSideLength(mesh), {}, {}};
    const RefitReport report = refitMesh(mesh, viewOf(vPoints), {0.017, 0.0}, scale);
    EXPECT_GT(report.numCreaseVertices, 100u);
    refitMesh(turned, viewOf(vPoints), {0.017, 0.0}, scale);
    EXPECT_TRUE(mesh.vertices == turned.vertices);
    EXPECT_NE(mesh.indices, turned.indices);
}

TEST(Refit, sameBytesOnAnyNumberOfThreadsAndInAnyOrder) {
    std::vector<Point3> vPoints = boxPoints({1, 1, 1}, 20'000, 0.01);
    const Shape ball = icosphere(5, 1.3);
    TriangleMesh mesh{ball.vertices, ball.triples};
    TriangleMesh same = mesh;
    refit(mesh, viewOf(vPoints), {0.03, 12.0}, {.threads = 1});
    std::reverse(vPoints.begin(), vPoints.end());
    const RefitReport report = refit(same, viewOf(vPoints), {0.03, 12.0}, {.threads = 4});
    EXPECT_EQ(mesh.vertices, same.vertices);
    EXPECT_EQ(mesh.indices, same.indices);
    EXPECT_GT(report.meanMove, 0.0);
}

TEST(Refit, coloursAreThoseOfThePointsAround) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < 3600; ++i) {
        const int row = i / 60;
        vPoints.emplace_back(0.5 * (i % 60), 0.5 * row, 0.0);
        vPoints.back().setColor(i % 60 < 30 ? 10 : 200, 0, 0, 255);
    }
    const Shape sheet = gridSheet(30, 30);
    TriangleMesh mesh{sheet.vertices, sheet.triples};
    mesh.vertices[0].setColor(77, 77, 77, 255);
    std::vector<std::uint8_t> vColors;
    for (const Point3& p : vPoints) vColors.insert(vColors.end(), {p.r, p.g, p.b, p.a});
    PointView view = viewOf(vPoints);
    view.colors = vColors.data();
    refit(mesh, view, {0.5, 0.0});
    EXPECT_EQ(mesh.vertices[10 * 30 + 5].r, 10);
    EXPECT_EQ(mesh.vertices[10 * 30 + 25].r, 200);
    EXPECT_NEAR(mesh.vertices[10 * 30 + 15].r, 130, 60);
}

TEST(Refit, stepsOfDepthGoInsteadOfGettingSharp) {
    Random random;
    std::vector<Point3> vPoints;
    for (int i = 0; i < 8'000; ++i) {
        const double x = random(), y = random();
        vPoints.emplace_back(x, y, std::round(20.0 * x) * 0.018);
    }
    const auto tiltOf = [&](bool bRefit) {
        const TriangleMesh mesh = reconstruct(vPoints, {.refit = bRefit}).mesh;
        const Vector3 true_ = normalize(Vector3(-0.36, 0.0, 1.0));
        double sum = 0.0, area = 0.0;
        for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
            const Point3& a = mesh.vertices[mesh.indices[t]];
            const Vector3 n = cross(mesh.vertices[mesh.indices[t + 1]] - a, mesh.vertices[mesh.indices[t + 2]] - a);
            sum += n.length() * std::acos(std::min(1.0, std::abs(n * true_) / n.length()));
            area += n.length();
        }
        return sum / area;
    };
    const double before = tiltOf(false), after = tiltOf(true);
    EXPECT_LT(after, 0.25 * before) << before << " before";
}

TEST(Refit, leavesWhatIsNotManifoldAndChecksItsOptions) {
    TriangleMesh fin{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}}, {0, 1, 2, 1, 0, 3, 0, 1, 4}};
    const TriangleMesh before = fin;
    const std::vector<Point3> vPoints = spherePoints(100, 0.0);
    EXPECT_EQ(refit(fin, viewOf(vPoints)).numMovedVertices, 0u);
    EXPECT_EQ(fin.vertices, before.vertices);
    EXPECT_THROW(refit(fin, viewOf(vPoints), {-1.0, 0.0}), ArgumentError);
    EXPECT_THROW(refit(fin, viewOf(vPoints), {0.0, -1.0}), ArgumentError);
}
