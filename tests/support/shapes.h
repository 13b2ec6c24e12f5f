#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "zef/Point3.h"

// Triangle meshes with known answers.
namespace zef_test {

// Three vertex indices a triangle.
struct Shape {
    std::vector<QUOR_ZEF::Point3> vertices;
    std::vector<std::uint32_t> triples;
};

// A grid of vertices, row after row, as pairs of triangles that turn the same way;
// a closed direction joins its last line to its first.
inline std::vector<std::uint32_t> gridTriples(std::uint32_t numX, std::uint32_t numY, bool bCloseX, bool bCloseY) {
    std::vector<std::uint32_t> triples;
    for (std::uint32_t y = 0; y + (bCloseY ? 0 : 1) < numY; ++y) {
        for (std::uint32_t x = 0; x + (bCloseX ? 0 : 1) < numX; ++x) {
            const std::uint32_t xNext = (x + 1) % numX, row = y * numX, rowNext = (y + 1) % numY * numX;
            for (const std::uint32_t i : {row + x, row + xNext, rowNext + xNext}) triples.push_back(i);
            for (const std::uint32_t i : {row + x, rowNext + xNext, rowNext + x}) triples.push_back(i);
        }
    }
    return triples;
}

// Twelve triangles, normals outwards; bit 2 of a vertex number is high x, bit 1 high
// y, bit 0 high z.
inline Shape box(const QUOR_ZEF::Point3& low, const QUOR_ZEF::Point3& high) {
    Shape shape;
    for (int i = 0; i < 8; ++i)
        shape.vertices.emplace_back(i & 4 ? high.px : low.px, i & 2 ? high.py : low.py, i & 1 ? high.pz : low.pz);
    shape.triples = {0, 1, 3, 0, 3, 2, 4, 6, 7, 4, 7, 5, 0, 4, 5, 0, 5, 1,
                     2, 3, 7, 2, 7, 6, 0, 2, 6, 0, 6, 4, 1, 5, 7, 1, 7, 3};
    return shape;
}

// The corners of the triangles, each with a position of its own.
inline std::vector<QUOR_ZEF::Point3> soupOf(const Shape& shape) {
    std::vector<QUOR_ZEF::Point3> corners;
    for (const std::uint32_t i : shape.triples) corners.push_back(shape.vertices[i]);
    return corners;
}

// The plane z = 0 with numX times numY vertices from the origin on, normals up:
// 2 (numX - 1)(numY - 1) triangles, 2 (numX + numY - 2) border edges.
inline Shape gridSheet(std::uint32_t numX, std::uint32_t numY, double spacing = 1.0) {
    Shape shape{{}, gridTriples(numX, numY, false, false)};
    for (std::uint32_t y = 0; y < numY; ++y)
        for (std::uint32_t x = 0; x < numX; ++x) shape.vertices.emplace_back(x * spacing, y * spacing, 0.0);
    return shape;
}

// Around the z axis, normals outwards, Euler number 0.
inline Shape torus(std::uint32_t numAround, std::uint32_t numTube, double radius, double tubeRadius) {
    Shape shape{{}, gridTriples(numAround, numTube, true, true)};
    for (std::uint32_t t = 0; t < numTube; ++t) {
        for (std::uint32_t a = 0; a < numAround; ++a) {
            const double u = 2.0 * M_PI * a / numAround, v = 2.0 * M_PI * t / numTube;
            const double distance = radius + tubeRadius * std::cos(v);
            shape.vertices.emplace_back(distance * std::cos(u), distance * std::sin(u), tubeRadius * std::sin(v));
        }
    }
    return shape;
}

// Needles around one vertex, which is the first.
inline Shape cone(std::uint32_t numAround) {
    Shape shape{{{0.1, 0.2, 0.5}}, {}};
    for (std::uint32_t i = 0; i < numAround; ++i) {
        const double turn = 2.0 * M_PI * i / numAround;
        shape.vertices.emplace_back(std::cos(turn), std::sin(turn), 0.0);
        shape.triples.insert(shape.triples.end(), {0, 1 + i, 1 + (i + 1) % numAround});
    }
    return shape;
}

// Around the z axis, from z = 0 to the height with numAlong rings, without caps,
// normals outwards: two borders of numAround edges, Euler number 0.
inline Shape openCylinder(std::uint32_t numAround, std::uint32_t numAlong, double radius, double height) {
    Shape shape{{}, gridTriples(numAround, numAlong, true, false)};
    for (std::uint32_t z = 0; z < numAlong; ++z) {
        for (std::uint32_t a = 0; a < numAround; ++a) {
            const double u = 2.0 * M_PI * a / numAround;
            shape.vertices.emplace_back(radius * std::cos(u), radius * std::sin(u), height * z / (numAlong - 1));
        }
    }
    return shape;
}

// An icosahedron, each triangle split in four numSplits times: 20 * 4^numSplits
// triangles around the origin, normals outwards, Euler number 2.
inline Shape icosphere(int numSplits, double radius = 1.0) {
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    Shape shape;
    for (const double one : {-1.0, 1.0}) {
        for (const double golden : {-g, g}) {
            shape.vertices.emplace_back(one, golden, 0.0);
            shape.vertices.emplace_back(0.0, one, golden);
            shape.vertices.emplace_back(golden, 0.0, one);
        }
    }
    shape.triples = {0, 2,  1, 0,  1, 6, 0,  8,  2, 0,  6, 4, 0, 4, 8, 1,  2,  7,  1,  5,
                     6, 1,  7, 5,  2, 3, 7,  2,  8, 3,  3, 9, 7, 3, 8, 10, 3,  10, 9,  4,
                     6, 11, 4, 10, 8, 4, 11, 10, 5, 11, 6, 5, 7, 9, 5, 9,  11, 9,  10, 11};
    for (int i = 0; i < numSplits; ++i) {
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> middles;
        const auto middle = [&](std::uint32_t a, std::uint32_t b) {
            const auto [it, bNew] = middles.try_emplace(std::minmax(a, b), std::uint32_t(shape.vertices.size()));
            if (bNew) shape.vertices.push_back(shape.vertices[a] + (shape.vertices[b] - shape.vertices[a]) * 0.5);
            return it->second;
        };
        std::vector<std::uint32_t> split;
        for (std::size_t t = 0; t < shape.triples.size(); t += 3) {
            const std::uint32_t a = shape.triples[t], b = shape.triples[t + 1], c = shape.triples[t + 2];
            const std::uint32_t ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
            for (const std::uint32_t v : {a, ab, ca, ab, b, bc, ca, bc, c, ab, bc, ca}) split.push_back(v);
        }
        shape.triples = std::move(split);
    }
    for (QUOR_ZEF::Point3& p : shape.vertices) {
        const QUOR_ZEF::Vector3 out = QUOR_ZEF::normalize(p - QUOR_ZEF::Point3()) * radius;
        p.set(out.vx, out.vy, out.vz);
    }
    return shape;
}

// A strip of numAround quads around the z axis with half a turn: one side, one border.
inline Shape moebiusStrip(std::uint32_t numAround) {
    Shape shape;
    for (std::uint32_t i = 0; i < numAround; ++i) {
        const double u = 2.0 * M_PI * i / numAround;
        for (const double half : {-0.3, 0.3}) {
            const double distance = 1.0 + half * std::cos(u / 2.0);
            shape.vertices.emplace_back(distance * std::cos(u), distance * std::sin(u), half * std::sin(u / 2.0));
        }
        const std::uint32_t a = 2 * i, b = 2 * i + 1;
        const bool bLast = i + 1 == numAround;
        const std::uint32_t aNext = bLast ? 1 : a + 2, bNext = bLast ? 0 : b + 2;
        for (const std::uint32_t v : {a, aNext, bNext, a, bNext, b}) shape.triples.push_back(v);
    }
    return shape;
}

}  // namespace zef_test
