#include "zef/meshOperations.h"

#include <string>
#include <utility>

#include "api/MeshBody.h"
#include "api/writeHoles.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "refine/RMesh.h"
#include "simplify/reduceTo.h"
#include "zef/Mesh.h"

namespace QUOR_ZEF {

namespace {

void passGate(const char* gate, const Mesh& mesh) {
    passLicenseGate(gate, mesh.getBody().numVertices());
}

// Runs fn with the plan, unless a run is going on that has planned for it.
template <class Fn>
void runPlanned(const char* name, ProgressPlan plan, const Fn& fn) {
    const bool bOwn = ensureProgressPlan(name, plan);
    fn();
    if (!bOwn) return;
    getProgress()->finish(true);
    getProgress()->reset();
}

// The scoring passes of the annealing have names from its temperatures.
void planAnnealing() {
    for (const double temperature : RMesh::getAnnealingSchedule()) {
        const std::string stage = RMesh::getCandidateStage(temperature);
        if (getProgress()->mNameKids.count(stage) == 0) getProgress()->createChild(stage, 1.0);
    }
}

}  // namespace

void edgeFlips(std::shared_ptr<Mesh> pMesh) {
    passGate("edgeFlips", *pMesh);
    runPlanned("EdgeFlips", {{"RM_kdeg", 1.0}, {"RM_gEfCandMT", 1.0}, {"efLoop", 1.0}},
               [&] { pMesh->getRMesh()->edgeFlips(); });
}

void edgeFlipsSimA(std::shared_ptr<Mesh> pMesh) {
    passGate("edgeFlipsSimA", *pMesh);
    runPlanned("EdgeFlipsS", {{"RM_kdeg", 1.0}, {"RM_gEfCandMT", 1.0}, {"efLoop", 1.0}}, [&] {
        planAnnealing();
        pMesh->getRMesh()->edgeFlipsSimA();
    });
}

int reduce(std::shared_ptr<Mesh> pMesh, double maxEdgeLength, double maxDeviationDeg) {
    passGate("reduce", *pMesh);
    int numRemoved = 0;
    runPlanned("Reduce", {{"RM_kdeg", 3.0}, {"RM_redborder", 1.0}, {"RM_redprioq", 3.0}, {"RM_redprocprioq", 93.0}},
               [&] {
                   numRemoved = pMesh->getRMesh()->reduce(maxEdgeLength * maxEdgeLength, maxDeviationDeg);
                   pMesh->getRMesh()->killDegenerate();
               });
    return numRemoved;
}

double reduceTo(std::shared_ptr<Mesh> pMesh, const ReduceOptions& options) {
    passGate("reduceTo", *pMesh);
    double error = 0.0;
    runPlanned("ReduceTo", {{"RM_rtscore", 10.0}, {"RM_rtloop", 85.0}, {"RM_rtmeas", 5.0}}, [&] {
        TriangleMesh flat = pMesh->getBody().flatten(VertexOrder::MESH);
        error = reduceTo(flat, options);
        const double cellSize = pMesh->getBody().getCellSize();
        pMesh->replaceBody(std::make_unique<MeshBody>(std::move(flat), cellSize));
    });
    return error;
}

void findHoles(std::shared_ptr<Mesh> pMesh) {
    writeHoles(pMesh->getBody().flatten(VertexOrder::MESH), "holes.list");
}

void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, int numSteps) {
    SmoothingOptions options;
    options.numSteps = numSteps;
    laplacianSmoothing(pMesh, options);
}

void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, const SmoothingOptions& options) {
    passGate("laplacianSmoothing", *pMesh);
    runPlanned("Smoothing", {{"RM_smooth", 1.0}}, [&] { pMesh->getBody().smooth(options); });
}

}  // namespace QUOR_ZEF
