#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/Draw.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"

namespace zef_fuzz {

// A surface twice: as triangles, sound or not, and as points on it.
struct Scene {
    QUOR_ZEF::TriangleMesh mesh;
    std::vector<QUOR_ZEF::Point3> points;
    std::vector<QUOR_ZEF::Vector3> normals;  // of the points, or none
    double extent = 1.0;                     // longest side of the box of the undamaged surface
};

constexpr std::uint32_t numSceneKinds = 14;

// kind: which surface, below numSceneKinds; the rest is drawn: noise, holes, colours, damage, place and scale.
// fineness: 1 gives some hundred triangles, 2 four times as many and so on. If the draw is odd, some coordinates
// can be of any size, or no numbers.
Scene drawScene(Draw& draw, std::uint32_t kind, std::uint32_t fineness, std::uint32_t numPoints);

}  // namespace zef_fuzz
