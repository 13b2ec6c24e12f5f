#pragma once

#include <cstdint>
#include <vector>

#include "refine/CollapseMesh.h"
#include "refine/ColorQuadric.h"
#include "refine/FanSurface.h"

namespace QUOR_ZEF {

// The colours of the vertices of a mesh that has any.
struct VertexColors {
    std::vector<Channels> vChannels;  // 0 to 255, by vertex
    std::vector<char> vHas;
};

// Holds a mesh that collapses within a distance of the mesh that it comes from.
// Every vertex of the latter belongs to a triangle of the former, within the
// distance of it; the other way, every new vertex, and the middles of new edges and
// triangles, are within the distance of the old surface. Colours are compared where
// the old vertices have their feet.
class SampleTracker {
public:
    // Everything borrowed; colors may be null. Limits: world units, and steps of
    // 0 to 255 of the worst channel.
    SampleTracker(const FanSurface& source, const CollapseMesh& mesh, const VertexColors* pSourceColors,
                  const VertexColors* pColors, double maxDistance, double maxColorStep);

    // Whether the collapse that the mesh has begun may end at p; color: what the
    // vertex would then have, null for none.
    bool allows(std::uint32_t u, std::uint32_t v, const Vector3& p, const Channels* pColor);
    // After that collapse, if allows() was the last to be asked.
    void follow();

private:
    struct Sample {
        std::uint32_t vertex, triangle;
    };

    void gather();
    bool findTriangle(Sample& sample, const Vector3& p, const Channels* pColor) const;
    bool keepsColor(const Sample& sample, const CollapseMesh::Moved& moved, const Foot& foot,
                    const Channels* pColor) const;
    bool isNearSource(const Vector3& p) const;

    const FanSurface& source;
    const CollapseMesh& mesh;
    const VertexColors *pSourceColors, *pColors;
    const double maxSq, maxColorStep;
    std::vector<std::uint32_t> vFirst;  // by triangle: its first vertex of the source
    std::vector<std::uint32_t> vNext;   // by vertex of the source: the next one there
    std::vector<Sample> vSamples;       // around the collapse
    std::uint32_t u = 0, v = 0;
};

}  // namespace QUOR_ZEF
