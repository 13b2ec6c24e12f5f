#include "simplify/reduceSparse.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "flat/arrays.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "simplify/CollapseMesh.h"
#include "simplify/FanSurface.h"

namespace QUOR_ZEF {

namespace {

class SparseReduction {
public:
    SparseReduction(const TriangleMesh& flat, const std::vector<float>& vLongest_, double errorShare_)
        : mesh(FanSurface(flat)), vLongest(vLongest_), errorShare(errorShare_), vError(flat.vertices.size()) {}

    // Merges every vertex that can be merged, in their order.
    std::size_t runPass() {
        std::size_t numMerged = 0;
        for (std::uint32_t v = 0; v < vLongest.size(); ++v) {
            if (vLongest[v] > 0.0F && mesh.getHeir(v) == v && !mesh.isBorder(v) && merge(v)) ++numMerged;
            if (Run* const pRun = getRun(); pRun && v % 4096 == 0) pRun->poll();
        }
        return numMerged;
    }

    void keepLiving(TriangleMesh& flat) const {
        flat.indices.clear();
        for (const std::uint32_t vertex : mesh.getTriples())
            if (vertex != CollapseMesh::none) flat.indices.push_back(vertex);
        renumberVertices(flat, VertexOrder::MESH);
    }

private:
    // Into the neighbour that changes the surface least.
    bool merge(std::uint32_t v) {
        vNeighbours.clear();
        mesh.forEachNeighbour(v, [&](std::uint32_t u) { vNeighbours.push_back(u); });
        std::uint32_t best = CollapseMesh::none;
        double bestError = std::numeric_limits<double>::infinity();
        for (const std::uint32_t u : vNeighbours) {
            const double error = errorInto(u, v);
            if (error >= bestError) continue;
            bestError = error;
            best = u;
        }
        if (best == CollapseMesh::none || !mesh.begin(best, v)) return false;
        mesh.collapse(mesh.vPos[best]);
        vError[best] = std::max(vError[best], bestError);
        return true;
    }

    // Infinite if it must not be.
    double errorInto(std::uint32_t u, std::uint32_t v) {
        constexpr double never = std::numeric_limits<double>::infinity();
        if (!mesh.mayEndAt(u, v) || !mesh.begin(u, v) || mesh.distorts(mesh.vPos[u])) return never;
        const double longest = vLongest[u] > 0.0F ? std::min(vLongest[u], vLongest[v]) : vLongest[v];
        double error = 0.0;
        for (const CollapseMesh::Moved& moved : mesh.getMoved()) {
            if (mesh.getCorner(moved.triangle, moved.corner) != v) continue;
            const Vector3& a = mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 1) % 3)];
            const Vector3& b = mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 2) % 3)];
            const Vector3 toA = a - mesh.vPos[u], toB = b - mesh.vPos[u];
            if (std::max(toA.sqLength(), toB.sqLength()) > longest * longest) return never;
            const Vector3 normal = normalize(cross(toA, toB));
            error = std::max(error, std::abs(normal * (mesh.vPos[v] - mesh.vPos[u])));
        }
        error += std::max(vError[u], vError[v]);
        return error <= errorShare * vLongest[v] ? error : never;
    }

    CollapseMesh mesh;
    const std::vector<float>& vLongest;
    const double errorShare;
    std::vector<double> vError;  // by vertex: of what was merged into it
    std::vector<std::uint32_t> vNeighbours;
};

}  // namespace

std::size_t reduceSparse(TriangleMesh& mesh, const std::vector<float>& vLongest, double errorShare) {
    constexpr int maxPasses = 16;
    ASSEX(vLongest.size()==mesh.vertices.size());
    if (std::all_of(vLongest.begin(), vLongest.end(), [](float longest) { return longest <= 0.0F; })) return 0;
    SparseReduction reduction(mesh, vLongest, errorShare);
    std::size_t numMerged = 0;
    for (int pass = 0; pass < maxPasses; ++pass) {
        const std::size_t num = reduction.runPass();
        numMerged += num;
        if (20 * num <= numMerged) break;
    }
    if (numMerged > 0) reduction.keepLiving(mesh);
    return numMerged;
}

}  // namespace QUOR_ZEF
