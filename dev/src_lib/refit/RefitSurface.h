#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "flat/VertexFans.h"
#include "parallel/parallelTransform.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// A unit normal and an area, world units; all 0 where a triangle has none.
struct FaceNormal {
    float x = 0.0F, y = 0.0F, z = 0.0F, area = 0.0F;

    float operator*(const FaceNormal& other) const { return x * other.x + y * other.y + z * other.z; }
    double operator*(const Vector3& v) const { return double{x} * v.vx + double{y} * v.vy + double{z} * v.vz; }
    Vector3 toVector() const { return {x, y, z}; }
};

// What a step works on: triangles, and all their vertices, both ascending.
struct RefitPart {
    std::vector<std::uint32_t> vFaces, vVertices;
};

// The triangles around those of a part, in one array: they share a corner with it, each is there once.
struct FaceRings {
    std::vector<std::size_t> vStart;            // by position in the part
    std::vector<std::uint32_t> vSizes;          // by position in the part
    std::unique_ptr<std::uint32_t[]> pEntries;  // twice the triangle, and 1 across an edge
    std::size_t numPlaces = 0;                  // for entries

    std::span<const std::uint32_t> operator[](std::size_t position) const {
        return {pEntries.get() + vStart[position], vSizes[position]};
    }
    // Those of a ring four by four: fn(entries, num) gets four each time, of which the first num count, and the
    // others are the triangle itself.
    template <class Fn>
    void forEachFour(std::size_t position, const Fn& fn) const {
        const std::uint32_t* p = pEntries.get() + vStart[position];
        for (std::uint32_t left = vSizes[position]; left > 0; p += 4, left -= std::min(left, 4U))
            fn(p, std::min(left, 4U));
    }
    static std::uint32_t faceOf(std::uint32_t entry) { return entry >> 1; }
    // What shares two corners counts twice.
    static float countOf(std::uint32_t entry) { return static_cast<float>(1 + (entry & 1)); }
};

// The triangles of a manifold mesh while its vertices move and edges flip, in plain arrays.
// Loops here are parallel and the same for any number of threads. Sums run by the numbers of vertices and triangles,
// not by the sequence of corners, so that a mesh turned inside out gives the same ones: tiles may have pieces that
// face the other way.
struct RefitSurface {
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::size_t minChunk = 2048;  // elements of a parallel loop

    std::vector<Vector3> vPlaces;         // by vertex, world units
    std::vector<std::uint32_t> vTriples;  // three vertices a triangle
    VertexFans fans;
    std::vector<std::uint32_t> vOpposite;  // by side, the other one at its edge; none at borders
    std::vector<Vector3> vCentres;         // by triangle
    std::vector<FaceNormal> vNormals;      // by triangle, as its corners lie
    double edge = 0.0;                     // how long sides are, world units
    double area = 0.0;                     // in the beginning

    // edge_: 0 for the mean of the mesh.
    explicit RefitSurface(const TriangleMesh& mesh, double edge_ = 0.0);

    std::size_t numTriangles() const { return vTriples.size() / 3; }
    std::size_t numVertices() const { return vPlaces.size(); }
    const Vector3& corner(std::size_t side) const { return vPlaces[vTriples[side]]; }
    // Those of a triangle, ascending.
    std::array<std::uint32_t, 3> sortedCorners(std::size_t face) const {
        const std::uint32_t a = vTriples[3 * face], b = vTriples[3 * face + 1], c = vTriples[3 * face + 2];
        const std::uint32_t low = std::min({a, b, c}), high = std::max({a, b, c});
        return {low, a ^ b ^ c ^ low ^ high, high};
    }
    // Of a triangle with these corners.
    FaceNormal normalOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) const;
    bool isBorder(std::uint32_t side) const { return vOpposite[side] == none; }

    // Follows vTriples, as vOpposite must have done.
    void renewFans();
    // Follow vPlaces and vTriples.
    void renewNormals();
    void renewNormals(const std::vector<std::uint32_t>& vFaces);
    // Ascending, each once: the vertices of triangles, and the triangles at vertices.
    std::vector<std::uint32_t> cornersOf(const std::vector<std::uint32_t>& vFaces) const;
    std::vector<std::uint32_t> facesAt(const std::vector<std::uint32_t>& vVertices) const;
    // The same for a part, also a large one: its triangles and those of their rings.
    std::vector<std::uint32_t> facesAround(const RefitPart& part) const;

    RefitPart getWhole() const;
    // Of ascending triangles, few or many.
    RefitPart partOf(std::vector<std::uint32_t> vFaces) const;
    // Good until an edge flips; some 50 bytes a triangle, 30 nanoseconds.
    void listRings(const RefitPart& part, FaceRings& rings) const;
    // Where the surface has creases, with the triangles around these.
    RefitPart getCreases() const;

    // Whether the normals around a triangle differ from its own by more than the cosine tells.
    bool bendsBeyond(std::size_t face, std::span<const std::uint32_t> ring, float cosine) const {
        for (const std::uint32_t entry : ring)
            if (vNormals[face] * vNormals[FaceRings::faceOf(entry)] < cosine) return true;
        return false;
    }

private:
    void renewNormal(std::size_t face);
    void findOpposites();
    std::uint32_t fillRing(std::size_t face, std::uint32_t* pRing) const;
    bool isCreased(std::size_t face) const;
};

// fn(i) for all numbers below num.
template <class Fn>
void forEachBelow(std::size_t num, const Fn& fn) {
    parallelChunks(num, RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) fn(i);
    });
}

}  // namespace QUOR_ZEF
