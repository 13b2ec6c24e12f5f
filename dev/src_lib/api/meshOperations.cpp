#include "zef/meshOperations.h"

#include <string>
#include <utility>

#include "api/MeshBody.h"
#include "api/plans.h"
#include "api/requireMesh.h"
#include "api/writeHoles.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "refine/RMesh.h"
#include "zef/Mesh.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

namespace {

void passGate(const char* gate, const Mesh* pMesh) {
    requireMesh(pMesh);
    passLicenseGate(gate, pMesh->getBody().numVertices());
}

// Runs fn, which changes the mesh in place. If that is cancelled the mesh is as it was before.
template <class Fn>
void runUndoably(Mesh& mesh, const OperationPlan& plan, const Fn& fn) {
    if (!getRun() && !getProgress()->pSubscriber) {
        runPlanned(plan, fn);
        return;
    }
    TriangleMesh before = mesh.getBody().flatten(VertexOrder::MESH);
    const double cellSize = mesh.getBody().getCellSize();
    try {
        runPlanned(plan, fn);
    } catch (...) {
        mesh.replaceBody(std::make_unique<MeshBody>(std::move(before), cellSize));
        throw;
    }
}

}  // namespace

void edgeFlips(std::shared_ptr<Mesh> pMesh) {
    passGate("edgeFlips", pMesh.get());
    runUndoably(*pMesh, planOfEdgeFlips(), [&] { pMesh->getRMesh()->edgeFlips(); });
}

void edgeFlipsSimA(std::shared_ptr<Mesh> pMesh) {
    passGate("edgeFlipsSimA", pMesh.get());
    runUndoably(*pMesh, planOfAnnealing(), [&] { pMesh->getRMesh()->edgeFlipsSimA(); });
}

int reduce(std::shared_ptr<Mesh> pMesh, double maxEdgeLength, double maxDeviationDeg) {
    passGate("reduce", pMesh.get());
    int numRemoved = 0;
    runUndoably(*pMesh, planOfReduce(), [&] {
        numRemoved = pMesh->getRMesh()->reduce(maxEdgeLength * maxEdgeLength, maxDeviationDeg);
        pMesh->getRMesh()->killDegenerate();
    });
    return numRemoved;
}

// Takes its pointer as the other operations do.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void findHoles(std::shared_ptr<Mesh> pMesh) {
    requireMesh(pMesh.get());
    writeHoles(pMesh->getBody().flatten(VertexOrder::MESH), "holes.list");
}

void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, int numSteps) {
    passGate("laplacianSmoothing", pMesh.get());
    SmoothingOptions options;
    options.steps = numSteps;
    runUndoably(*pMesh, planOfSmoothing(), [&] { pMesh->getBody().smooth(options); });
}

}  // namespace QUOR_ZEF
