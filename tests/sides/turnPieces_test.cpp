// Scans of one view, whose pieces must come out with one side.

#include "sides/turnPieces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace QUOR_ZEF;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// Distances along a ray, infinity beside the shape.
double toSphere(const Point3& from, const Vector3& way, const Point3& centre, double radius) {
    const Vector3 d = centre - from;
    const double along = d * way, square = along * along - d.sqLength() + radius * radius;
    return square > 0.0 ? along - std::sqrt(square) : infinity;
}
double toBox(const Point3& from, const Vector3& way, const Point3& low, const Point3& high) {
    double enter = 0.0, leave = infinity;
    for (int axis = 0; axis < 3; ++axis) {
        const double a = (low - from).getCartesian(axis) / way.getCartesian(axis);
        const double b = (high - from).getCartesian(axis) / way.getCartesian(axis);
        enter = std::max(enter, std::min(a, b));
        leave = std::min(leave, std::max(a, b));
    }
    return enter < leave ? enter : infinity;
}
double toWavyWall(const Point3& from, const Vector3& way) {
    double distance = (12.0 - from.py) / way.vy;
    for (int i = 0; i < 20; ++i) distance = (12.0 + 0.3 * std::sin((from + way * distance).px) - from.py) / way.vy;
    return distance;
}

// What a scanner sees of a sphere, a box and two sheets, one beyond the other, in front of a wall.
std::vector<Point3> viewFrom(const Point3& eye) {
    std::vector<Point3> vPoints;
    for (double x = -0.5003; x < 0.5; x += 0.005)
        for (double z = -0.4003; z < 0.4; z += 0.005) {
            const Vector3 way = normalize(Vector3(x, 1.0, z));
            const double distance =
                std::min({toWavyWall(eye, way), toSphere(eye, way, {-2, 7, 0.5}, 1.0),
                          toBox(eye, way, {1, 6, -2}, {2, 7.5, -0.5}), toBox(eye, way, {0.5, 5, 0.5}, {1.5, 5.01, 1.5}),
                          toBox(eye, way, {0, 8, 0}, {2.5, 8.01, 2})});
            vPoints.push_back(eye + way * distance);
        }
    return vPoints;
}

// The share of the area that looks to a place.
double shareToward(const TriangleMesh& mesh, const Point3& eye) {
    double toward = 0.0, all = 0.0;
    for (std::size_t t = 0; t < mesh.numTriangles(); ++t) {
        const Vector3 area = doubleArea(mesh, t);
        all += area.length();
        if (area * (eye - middleOf(mesh, t)) > 0.0) toward += area.length();
    }
    return toward / all;
}

ReconstructOptions optionsOf(double spacing) {
    ReconstructOptions options;
    options.spacing = spacing;
    return options;
}

// A sphere without its top above the height.
std::vector<Point3> sphere(double maxZ) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < 8000; ++i) {
        const double z = (2.0 * i + 1.0) / 8000 - 1.0, r = std::sqrt(1.0 - z * z), angle = i * 2.399963229728653;
        if (z < maxZ) vPoints.emplace_back(r * std::cos(angle), r * std::sin(angle), z);
    }
    return vPoints;
}

}  // namespace

TEST(TurnPieces, allLookToTheViewpointOrElseToOnePlace) {
    for (const Point3& eye : {Point3(0, 0, 0), Point3(1.5, -1, 0.7)}) {
        const std::vector<Point3> vPoints = viewFrom(eye);
        ReconstructOptions options = optionsOf(0.1);
        options.refit = false;  // that rounds differently on turned triangles
        const Reconstruction alone = reconstruct(vPoints, options);
        options.viewpoint = eye;
        const Reconstruction seen = reconstruct(vPoints, options);
        EXPECT_GE(seen.mended.numComponents, 4u);
        EXPECT_EQ(wordOf(seen.sideRule), std::string("viewpoint"));
        EXPECT_GT(seen.numTurnedPieces, 0u);
        EXPECT_GT(shareToward(seen.mesh, eye), 0.98);
        EXPECT_EQ(wordOf(alone.sideRule), std::string("agreement"));
        EXPECT_GT(shareToward(alone.mesh, eye), 0.98);
        EXPECT_EQ(alone.mesh.vertices, seen.mesh.vertices);
        options.viewpoint->pz = std::nan("");
        EXPECT_THROW(reconstruct(vPoints, options), ArgumentError);
    }
}

// Here they point away from the scanner, and not all of them tell; the rest agrees.
TEST(TurnPieces, normalsOfThePointsDecideWithoutAViewpoint) {
    const Point3 eye(0, 0, 0);
    const std::vector<Point3> vPoints = viewFrom(eye);
    std::vector<Vector3> vNormals;
    for (const Point3& p : vPoints) vNormals.push_back(p.py > 10.0 || p.px > 0.0 ? (p - eye) * 3.0 : Vector3());
    for (std::size_t i = 0; i < vNormals.size(); i += 3) vNormals[i].vx = std::nan("");
    ReconstructOptions options = optionsOf(0.1);
    options.normals = vNormals;
    const Reconstruction made = reconstruct(vPoints, options);
    EXPECT_EQ(made.sideRule, SideRule::NORMALS);
    EXPECT_LT(shareToward(made.mesh, eye), 0.02);
    const PointView view{
        .xyz = &vPoints[0].px, .count = vPoints.size(), .stride = 4, .normals = &vNormals[0].vx, .normalStride = 3};
    EXPECT_EQ(reconstruct(view, optionsOf(0.1)).mesh.indices, made.mesh.indices);
    options.normals = std::span(vNormals).first(7);
    EXPECT_THROW(reconstruct(vPoints, options), ArgumentError);
}

// The steep bank leans to x most, and so would face down by itself.
TEST(TurnPieces, terrainLooksUp) {
    std::vector<Point3> vPoints;
    for (double x = 0.0; x < 12.0; x += 0.07)
        for (double y = 0.0; y < 12.0; y += 0.07) {
            if (x < 8.0) vPoints.emplace_back(x, y, 0.4 * std::sin(x));
            if (x > 9.0 && x < 10.0) vPoints.emplace_back(x, y, 1.5 * (x - 9.0));
        }
    const Reconstruction made = reconstruct(vPoints, optionsOf(0.1));
    EXPECT_EQ(made.sideRule, SideRule::TERRAIN);
    EXPECT_EQ(made.mended.numComponents, 2u);
    EXPECT_EQ(made.numTurnedPieces, 1u);
    EXPECT_GT(shareToward(made.mesh, Point3(5, 5, 1e6)), 0.99);
}

// All of it is seen from within, but scanners stand without.
TEST(TurnPieces, whatStandsOnATableFacesOutward) {
    const Reconstruction half = reconstruct(sphere(0.0), optionsOf(0.05));
    EXPECT_EQ(half.sideRule, SideRule::VOLUME);
    EXPECT_LT(shareToward(half.mesh, Point3(0, 0, 0)), 0.01);
}

// The places that it could be seen from are its own.
TEST(TurnPieces, aSingleTriangleHasASide) {
    TriangleMesh mesh{{{0, 0, 0}, {1, 0, 0.5}, {0, 1, 0.2}}, {0, 1, 2}};
    EXPECT_EQ(turnPieces(mesh, {{0}, {PieceKind::SHEET}}, {}).rule, SideRule::AGREEMENT);
}

TEST(TurnPieces, bodiesFaceOutwardUnlessSeenFromWithinThroughAHole) {
    for (const bool bClosed : {true, false}) {
        const std::vector<Point3> vPoints = sphere(bClosed ? 2.0 : 0.95);
        ReconstructOptions options = optionsOf(0.06);
        options.growSteps = 0;
        const Reconstruction alone = reconstruct(vPoints, options);
        EXPECT_EQ(alone.sideRule, SideRule::VOLUME);
        EXPECT_LT(shareToward(alone.mesh, {0, 0, 0}), 0.01);
        for (const bool bInside : {false, true}) {
            options.viewpoint = bInside ? Point3(0, 0, 0) : Point3(3, 4, 5);
            const Reconstruction made = reconstruct(vPoints, options);
            const bool bTurned = bInside && !bClosed;
            EXPECT_EQ(made.numTurnedPieces, bTurned ? 1u : 0u);
            EXPECT_EQ(made.mesh.indices == alone.mesh.indices, !bTurned);
        }
    }
}
