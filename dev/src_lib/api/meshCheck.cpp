#include "zef/meshCheck.h"

#include <utility>

#include "api/calls.h"
#include "api/plans.h"
#include "check/checkTriangles.h"
#include "check/selfIntersections.h"
#include "flat/arrays.h"
#include "mend/Manifold.h"

namespace QUOR_ZEF {

MeshReport check(const TriangleMesh& mesh, const Context& context) {
    checkIndices(mesh);
    return runCall(context, [&] {
        MeshReport report;
        runPlanned(planOfChecking(), [&] { report = checkTriangles(mesh); });
        return report;
    });
}

std::size_t countSelfIntersections(const TriangleMesh& mesh, const Context& context) {
    checkIndices(mesh);
    return runCall(context, [&] {
        std::size_t num = 0;
        runPlanned(planOfIntersections(), [&] { num = countIntersectingPairs(mesh); });
        return num;
    });
}

ManifoldReport mend(TriangleMesh& mesh, const ManifoldOptions& options, const Context& context) {
    checkMesh(mesh);
    return runCall(context, [&] {
        ManifoldReport report;
        TriangleMesh mended = mesh;
        renumberVertices(mended, VertexOrder::MESH);
        runPlanned(planOfMaking(), [&] { makeManifold(mended, options, report); });
        checkMeshSize(mended.vertices.size(), mended.numTriangles());
        mesh = std::move(mended);
        return report;
    });
}

}  // namespace QUOR_ZEF
