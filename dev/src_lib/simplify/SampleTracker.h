#pragma once

#include <cstdint>
#include <vector>

#include "simplify/CollapseMesh.h"
#include "simplify/ColorQuadric.h"
#include "simplify/FanSurface.h"
#include "simplify/TriangleTree.h"

namespace QUOR_ZEF {

// The colours of the vertices of a mesh that has any.
struct VertexColors {
    std::vector<Channels> vChannels;  // 0 to 255, by vertex
    std::vector<char> vHas;
};

// Holds a mesh that collapses within a distance of the mesh that it comes from, as
// far as points on both can tell: vertices of the old one, and its middles of sides
// and triangles where the distance is below their size; each belongs to a triangle
// of the new one. And a grid on the new triangles. Colours are compared where the
// old vertices have their feet.
class SampleTracker {
public:
    // Everything borrowed; colors may be null. Limits: world units, and steps of
    // 0 to 255 of the worst channel. vShares: by vertex of the source, of the distance
    // that is allowed there.
    SampleTracker(const FanSurface& source, const CollapseMesh& mesh, const VertexColors* pSourceColors,
                  const VertexColors* pColors, double maxDistance, double gridWidth, double maxColorStep,
                  const std::vector<float>& vShares);

    // Whether the collapse that the mesh has begun may end at p; color: what the
    // vertex would then have, null for none.
    bool allows(std::uint32_t u, std::uint32_t v, const Vector3& p, const Channels* pColor);
    // After that collapse, if allows() was the last to be asked.
    void follow();

private:
    struct Sample {
        std::uint32_t point;
        std::uint32_t place;  // of its triangle among the moved ones
    };
    // A triangle as it would be moved, the moved corner first, in a ball.
    struct Place {
        const CollapseMesh::Moved* pMoved;
        Vector3 a, b, c, middle;
        double radius;
    };

    void addPoint(const Vector3& p, std::uint32_t vertex, std::uint32_t triangle);
    void gather(const Vector3& p);
    bool findPlace(Sample& sample, const Channels* pColor) const;
    bool keepsColor(std::uint32_t vertex, const CollapseMesh::Moved& moved, const Foot& foot,
                    const Channels* pColor) const;
    std::uint32_t nearestVertex(const Vector3& p) const;
    bool isNearSource(const Vector3& p, std::uint32_t& vertex) const;
    bool isNearSource(const Place& place, std::uint32_t vertex) const;
    double sqLimitAt(std::uint32_t vertex) const {
        const double limit = maxDistance * double{vShares[vertex]};
        return limit * limit;
    }

    const FanSurface& source;
    const CollapseMesh& mesh;
    const VertexColors *pSourceColors, *pColors;
    const double maxDistance, gridWidth, maxColorStep;
    const std::vector<float>& vShares;
    mutable TriangleTree tree;           // of the source
    std::vector<Vector3> vPoints;        // on the source, its vertices first
    std::vector<std::uint32_t> vVertex;  // by point: one of the source nearby
    std::vector<std::uint32_t> vNext;    // by point: the next one of the same triangle
    std::vector<std::uint32_t> vFirst;   // by triangle: its first point
    std::vector<Sample> vSamples;        // around the collapse
    std::vector<Place> vPlaces;          // likewise
    std::uint32_t u = 0, v = 0;
};

}  // namespace QUOR_ZEF
