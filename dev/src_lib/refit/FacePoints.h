#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/PointSource.h"
#include "refit/RefitSurface.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The points of a cloud by the triangle whose middle is nearest; follow() sharpens that. Of triangles longer than two
// cells a grid of places counts as their middles. Points farther than a cell from all of them
// are nobody's.
//
// Cells are as wide as the mean edge; triangles and points are sorted by cell, and a sweep over
// the cells of the points takes the triangles of the 27 cells around along. O(n log n), about
// 80 bytes a point and 20 a triangle meanwhile, 64 a point afterwards.
class FacePoints {
public:
    FacePoints() = default;
    // The order of the points has no say.
    FacePoints(const RefitSurface& surface, const PointSource& points);

    // After vertices moved or edges flipped: each point of the part goes to the nearest middle of the triangles
    // around its own, but where their normals bend, to the nearest triangle, of equal ones to that
    // with the nearer middle. O(n), some 50 nanoseconds a point.
    void follow(const RefitSurface& surface, const RefitPart& part, const FaceRings& rings);

    std::size_t size() const { return vPlaces.size(); }
    std::uint32_t count(std::size_t face) const { return vStart[face + 1] - vStart[face]; }
    std::span<const Vector3> of(std::size_t face) const {
        return {vPlaces.data() + vStart[face], vPlaces.data() + vStart[face + 1]};
    }
    // Their positions in the source.
    std::span<const std::uint32_t> indicesOf(std::size_t face) const {
        return {vIndices.data() + vStart[face], vIndices.data() + vStart[face + 1]};
    }

private:
    std::vector<std::uint32_t> vStart;  // by face, and the end
    std::vector<Vector3> vPlaces;
    std::vector<std::uint32_t> vIndices;

    // What sortByFace() sorts, by vFaces; kept for their memory.
    std::vector<std::uint32_t> vFaces, vNext;
    std::vector<Vector3> vUnsorted;
    std::vector<std::uint32_t> vUnsortedIndices;

    void sortByFace(std::size_t numFaces);
};

}  // namespace QUOR_ZEF
