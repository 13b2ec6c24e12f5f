#include "zef/meshCheck.h"

#include <limits>
#include <utility>

#include "api/calls.h"
#include "api/plans.h"
#include "check/checkTriangles.h"
#include "check/selfIntersections.h"
#include "check/thinPlaces.h"
#include "flat/arrays.h"
#include "handles/cutHandles.h"
#include "mend/Manifold.h"
#include "untangle/untangleMesh.h"

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
    return findSelfIntersections(mesh, context).size();
}

std::vector<TrianglePair> findSelfIntersections(const TriangleMesh& mesh, const Context& context) {
    checkIndices(mesh);
    return runCall(context, [&] {
        std::vector<TrianglePair> vPairs;
        runPlanned(planOfIntersections(), [&] { vPairs = findIntersectingPairs(mesh); });
        return vPairs;
    });
}

HandleReport findHandles(const TriangleMesh& mesh, double longest, const Context& context) {
    constexpr double defaultLength = 12.0;  // mean edges
    checkMesh(mesh);
    checkOption("longest", longest, 0.0, std::numeric_limits<double>::infinity());
    return runCall(context, [&] {
        HandleReport report;
        runPlanned(planOfFindingHandles(), [&] {
            const MeshReport state = checkTriangles(mesh);
            if (!state.manifold || !state.oriented)
                throw ArgumentError("handles: the mesh is not manifold and oriented; mend() it first");
            report = measureHandles(mesh, longest > 0.0 ? longest : defaultLength * meanSideLength(mesh));
        });
        return report;
    });
}

ThinReport findThinPlaces(const TriangleMesh& mesh, double thickness, const Context& context) {
    constexpr double defaultThickness = 2.0;  // mean edges
    checkMesh(mesh);
    checkOption("thickness", thickness, 0.0, std::numeric_limits<double>::infinity());
    return runCall(context, [&] {
        ThinReport report;
        runPlanned(planOfFindingThin(), [&] {
            report = measureThinPlaces(mesh, thickness > 0.0 ? thickness : defaultThickness * meanSideLength(mesh));
        });
        return report;
    });
}

UntangleReport untangle(TriangleMesh& mesh, const Context& context) {
    checkMesh(mesh);
    return runCall(context, [&] {
        UntangleReport report;
        TriangleMesh untangled = mesh;
        renumberVertices(untangled, VertexOrder::MESH);
        runPlanned(planOfUntangling(), [&] {
            const MeshReport state = checkTriangles(untangled);
            if (state.manifold && state.oriented)
                report = untangleMesh(untangled);
            else
                report.numPairs = report.numPairsLeft = findIntersectingPairs(untangled).size();
        });
        mesh = std::move(untangled);
        return report;
    });
}

ManifoldReport mend(TriangleMesh& mesh, const ManifoldOptions& options, const Context& context) {
    checkMesh(mesh);
    return runCall(context, [&] {
        ManifoldReport report;
        TriangleMesh mended = mesh;
        renumberVertices(mended, VertexOrder::MESH);
        runPlanned(planOfMaking(options.untangle), [&] {
            makeManifold(mended, options, report);
            if (options.untangle) report.untangled = untangleMesh(mended);
        });
        checkMeshSize(mended.vertices.size(), mended.numTriangles());
        mesh = std::move(mended);
        return report;
    });
}

}  // namespace QUOR_ZEF
