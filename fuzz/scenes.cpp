#include "fuzz/scenes.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/support/shapes.h"

using namespace QUOR_ZEF;
using zef_test::Shape;

namespace zef_fuzz {
namespace {

void append(Shape& shape, const Shape& other, const Vector3& move) {
    const auto first = static_cast<std::uint32_t>(shape.vertices.size());
    for (const Point3& p : other.vertices) shape.vertices.push_back(p + move);
    for (const std::uint32_t i : other.triples) shape.triples.push_back(first + i);
}

Shape joined(Shape shape, const Shape& other, const Vector3& move) {
    append(shape, other, move);
    return shape;
}

// Sharp ridges and valleys on both sides of flat stretches.
Shape terrain(std::uint32_t side) {
    Shape shape = zef_test::gridSheet(side, side, 2.0 / side);
    for (Point3& p : shape.vertices) p.pz = 0.2 * std::fabs(std::fmod(p.px * 1.5 + p.py * 0.7, 1.0) - 0.5);
    return shape;
}

// n triangles on one edge, or around one vertex.
Shape crowded(std::uint32_t n, bool bEdge) {
    Shape shape;
    shape.vertices = {{0.0, 0.0, -0.5}, {0.0, 0.0, 0.5}};
    for (std::uint32_t i = 0; i < n; ++i) {
        const double angle = 2.0 * M_PI * i / n;
        shape.vertices.emplace_back(std::cos(angle), std::sin(angle), 0.0);
        const std::uint32_t next = bEdge ? 0 : 2 + (i + 1) % n;
        for (const std::uint32_t v : {2 + i, next, 1u}) shape.triples.push_back(v);
    }
    return shape;
}

// Triangles that have nothing to do with each other, on shared vertices.
Shape soup(Draw& draw, std::uint32_t numTriangles) {
    std::mt19937 random(draw.below(256));
    const auto next = [&] { return static_cast<double>(random()) * 0x1p-31 - 1.0; };
    Shape shape;
    for (std::uint32_t i = 0; i < numTriangles; ++i) {
        const double x = next(), y = next(), z = next();
        shape.vertices.emplace_back(x, y, z);
    }
    const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
    for (std::uint32_t i = 0; i < numTriangles; ++i) {
        const std::uint32_t a = below(numTriangles), b = (a + 1 + below(5)) % numTriangles, c = below(numTriangles);
        if (a == b || b == c || c == a) continue;
        for (const std::uint32_t v : {a, b, c}) shape.triples.push_back(v);
    }
    return shape;
}

Shape shapeOf(Draw& draw, std::uint32_t kind, std::uint32_t fineness) {
    using namespace zef_test;
    const std::uint32_t n = 12u << (fineness - 1), splits = std::min(fineness, 4u);
    switch (kind) {
        case 0:
            return icosphere(static_cast<int>(splits) + 1);
        case 1:
            return torus(2 * n, n, 1.0, 0.4);
        case 2:
            return openCylinder(n, n, 0.5, 2.0);
        case 3:
            return terrain(n);
        case 4:
            return moebiusStrip(4 * n);
        case 5:
            return box({-0.5, -0.4, -0.3}, {0.5, 0.4, 0.3});
        case 6:
            return joined(gridSheet(n, n, 1.0 / n), gridSheet(n, n, 1.0 / n), {0.01, 0.02, 0.08});
        case 7:
            return joined(box({0, 0, 0}, {1, 1, 1}), box({0, 0, 0}, {1, 1, 1}), {0.37, 0.41, 0.43});
        case 8:
            return soup(draw, 4 * n);
        case 9:
            return crowded(n, true);
        case 10:
            return torus(3 * n, 5, 1.0, 0.06);
        case 11:
            return joined(icosphere(static_cast<int>(splits)), icosphere(1, 0.4), {});
        case 12:
            return crowded(4 * n, false);
        default:
            return joined(torus(n, n, 0.5, 0.2), icosphere(static_cast<int>(splits), 0.5), {0.5, 0.0, 0.1});
    }
}

// So that no last bit of a sine matters.
Point3 rounded(const Point3& p) {
    const auto round = [](double x) { return std::nearbyint(x * 0x1p30) * 0x1p-30; };
    return {round(p.px), round(p.py), round(p.pz)};
}

double areaOf(const Point3& a, const Point3& b, const Point3& c) {
    const Vector3 u = b - a, v = c - a;
    const double x = u.vy * v.vz - u.vz * v.vy, y = u.vz * v.vx - u.vx * v.vz, z = u.vx * v.vy - u.vy * v.vx;
    return 0.5 * std::sqrt(x * x + y * y + z * z);
}

// Points spread over the triangles by area, with the normals of these.
void strew(Scene& scene, const Shape& shape, std::uint32_t numPoints, double noise) {
    std::vector<double> vAreas;
    double sum = 0.0;
    const auto corner = [&](std::size_t i) { return shape.vertices[shape.triples[i]]; };
    for (std::size_t i = 0; i < shape.triples.size(); i += 3)
        vAreas.push_back(sum += areaOf(corner(i), corner(i + 1), corner(i + 2)));
    std::mt19937 random(7);
    const auto next = [&] { return static_cast<double>(random()) * 0x1p-32; };
    for (std::uint32_t k = 0; k < numPoints; ++k) {
        const double at = (k + 0.5) / numPoints * sum;
        const auto it = std::lower_bound(vAreas.begin(), vAreas.end() - 1, at);
        const std::size_t first = 3 * static_cast<std::size_t>(it - vAreas.begin());
        const Point3 a = corner(first);
        const Vector3 u = corner(first + 1) - a, v = corner(first + 2) - a;
        double s = next(), t = next();
        if (s + t > 1.0) s = 1.0 - s, t = 1.0 - t;
        const double away = noise * (next() + next() - 1.0);
        const Vector3 normal{u.vy * v.vz - u.vz * v.vy, u.vz * v.vx - u.vx * v.vz, u.vx * v.vy - u.vy * v.vx};
        const double length = std::max(std::sqrt(normal * normal), 1e-9);
        scene.points.push_back(rounded(a + u * s + v * t + normal * (away / length)));
        scene.normals.push_back(normal);
    }
}

void colour(std::vector<Point3>& vPoints, std::uint32_t every) {
    for (std::size_t i = 0; i < vPoints.size(); i += every) {
        const auto channel = [](double x) {
            return static_cast<std::uint8_t>(std::clamp(128.0 + 90.0 * x, 0.0, 255.0));
        };
        vPoints[i].setColor(channel(vPoints[i].px), channel(vPoints[i].py), i % 7 == 0 ? 10 : 200, 255);
    }
}

// Triangles turned over, missing, doubled, or pushed about.
void damage(TriangleMesh& mesh, Draw& draw, double noise) {
    std::mt19937 random(draw.below(256));
    for (Point3& p : mesh.vertices) {
        const double away = noise * (static_cast<double>(random()) * 0x1p-31 - 1.0);
        p = rounded({p.px + away, p.py - 0.5 * away, p.pz + away});
    }
    const std::uint32_t kind = draw.below(5);
    if (kind == 0) return;
    for (std::size_t i = 0; i + 3 <= mesh.indices.size(); i += 3 * (1 + random() % 40)) {
        if (kind == 1) std::swap(mesh.indices[i], mesh.indices[i + 1]);
        if (kind == 2)
            mesh.indices.erase(mesh.indices.begin() + std::ptrdiff_t(i), mesh.indices.begin() + std::ptrdiff_t(i + 3));
        if (kind == 3)
            for (const int k : {0, 1, 2}) mesh.indices.push_back(mesh.indices[i + static_cast<std::size_t>(k)]);
        if (kind == 4) mesh.vertices[mesh.indices[i]] = mesh.vertices[mesh.indices[i + 1]];
    }
}

// What real scans have besides a surface.
void disturb(Scene& scene, Draw& draw) {
    std::vector<Point3>& vPoints = scene.points;
    const std::uint32_t kind = draw.below(7);
    if (kind == 1)  // thinner to one side
        std::erase_if(vPoints, [](const Point3& p) { return p.px > 0.0 && std::lround(p.py * 4096.0) % 4 != 0; });
    if (kind == 2) vPoints.insert(vPoints.end(), vPoints.begin(), vPoints.begin() + std::ptrdiff_t(vPoints.size() / 2));
    if (kind == 3) std::erase_if(vPoints, [](const Point3& p) { return p.px > 0.3 && p.py > 0.1; });
    if (kind == 4)
        for (Point3& p : vPoints) p.set(std::nearbyint(p.px * 32) / 32, std::nearbyint(p.py * 32) / 32, p.pz);
    if (kind == 5)
        for (const double x : {3.0, 5.0, 40.0}) vPoints.emplace_back(x, -x, 0.1);
    if (kind == 6) std::reverse(vPoints.begin(), vPoints.end());
    if (vPoints.size() != scene.normals.size() || kind == 6 || draw.yes()) scene.normals.clear();
}

void place(std::vector<Point3>& vPoints, double scale, double offset) {
    for (Point3& p : vPoints) p.set(p.px * scale + offset, p.py * scale - offset, p.pz * scale);
}

void spoil(std::vector<Point3>& vPoints, Draw& draw) {
    for (std::uint32_t k = draw.below(4); k > 0 && !vPoints.empty(); --k) {
        Point3& p = vPoints[draw.below(256) % vPoints.size()];
        p.px = draw.odd(p.px);
        p.pz = draw.odd(p.pz);
    }
}

}  // namespace

Scene drawScene(Draw& draw, std::uint32_t kind, std::uint32_t fineness, std::uint32_t numPoints) {
    constexpr double scales[] = {1.0, 1.0, 1.0, 1e-3, 1e3, 1e-12, 1e9, 1e80};
    const Shape shape = shapeOf(draw, kind, fineness);
    Scene scene;
    const double noise = draw.yes() ? 0.0 : draw.between(0.0, 0.03);
    if (!shape.triples.empty()) strew(scene, shape, numPoints, noise);
    scene.mesh.vertices = shape.vertices;
    scene.mesh.indices = shape.triples;
    damage(scene.mesh, draw, 0.3 * noise);
    disturb(scene, draw);
    if (const std::uint32_t every = draw.below(4); every > 0) {
        colour(scene.mesh.vertices, every);
        colour(scene.points, every);
    }
    const double scale = scales[draw.below(draw.isOdd() ? 8 : 5)];
    const double offset = draw.below(6) == 0 ? scale * 1e5 : 0.0;
    scene.extent = 2.0 * scale;
    for (auto* pPoints : {&scene.mesh.vertices, &scene.points}) {
        place(*pPoints, scale, offset);
        if (draw.isOdd()) spoil(*pPoints, draw);
    }
    return scene;
}

}  // namespace zef_fuzz
