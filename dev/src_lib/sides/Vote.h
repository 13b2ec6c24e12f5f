#pragma once

#include <cmath>
#include <cstddef>

#include "geometry/freeFunctions.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What speaks for the direction that a piece has, less what speaks against it.
struct Vote {
    double sum = 0.0;
    double weight = 0.0;  // the absolute values

    void add(double value) {
        sum += value;
        weight += std::abs(value);
    }
};

// Along the normal, as long as twice the area.
inline Vector3 doubleArea(const TriangleMesh& mesh, std::size_t t) {
    const Point3& a = mesh.vertices[mesh.indices[3 * t]];
    return cross(mesh.vertices[mesh.indices[3 * t + 1]] - a, mesh.vertices[mesh.indices[3 * t + 2]] - a);
}

inline Point3 middleOf(const TriangleMesh& mesh, std::size_t t) {
    const Point3& a = mesh.vertices[mesh.indices[3 * t]];
    Vector3 sum = mesh.vertices[mesh.indices[3 * t + 1]] - a;
    sum += mesh.vertices[mesh.indices[3 * t + 2]] - a;
    return a + sum / 3.0;
}

}  // namespace QUOR_ZEF
