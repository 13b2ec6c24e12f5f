#include "api/untangled.h"

#include <algorithm>

#include "geometry/freeFunctions.h"
#include "io/precision.h"
#include "parallel/parallelTransform.h"
#include "untangle/untangleMesh.h"

namespace QUOR_ZEF {

bool isHeldByFloats(const TriangleMesh& mesh, double spacing) {
    if (mesh.vertices.empty()) return true;
    Point3 low = mesh.vertices.front(), high = low;
    for (const Point3& p : mesh.vertices) {
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
    return !needsDoubles(low, high, spacing);
}

void roundToFloats(TriangleMesh& mesh) {
    constexpr std::size_t minChunk = 8192;
    parallelChunks(mesh.vertices.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) mesh.vertices[i].set(nearestFloats(mesh.vertices[i]));
    });
}

UntangleReport untangleForFiles(TriangleMesh& mesh, double spacing) {
    if (mesh.vertices.empty()) return {};
    if (isHeldByFloats(mesh, spacing)) roundToFloats(mesh);
    return untangleMesh(mesh);
}

}  // namespace QUOR_ZEF
