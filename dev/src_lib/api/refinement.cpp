#include "zef/refinement.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "api/calls.h"
#include "api/plans.h"
#include "check/checkTriangles.h"
#include "check/selfIntersections.h"
#include "flat/arrays.h"
#include "flat/edgeLists.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "mend/Manifold.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "simplify/reduceTo.h"
#include "smooth/colors.h"
#include "smooth/smoothing.h"
#include "untangle/untangleMesh.h"
#include "zef/Mesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double noLimit = std::numeric_limits<double>::infinity();

// Runs fn(copy) on a copy of a mesh that means something, through the gate, if there is one, and with
// the plan that makePlan gives in the surroundings of the call. The mesh becomes the copy at the very end.
template <class MakePlan, class Fn>
void runOnMesh(TriangleMesh& mesh, const Context& context, const char* gate, const MakePlan& makePlan, const Fn& fn) {
    checkMesh(mesh);
    runCall(context, [&] {
        if (gate) passLicenseGate(gate, mesh.vertices.size());
        TriangleMesh changed = mesh;
        renumberVertices(changed, VertexOrder::MESH);
        runPlanned(makePlan(), [&] {
            if (!changed.indices.empty()) fn(changed);
        });
        mesh = std::move(changed);
    });
}

// Too short to be told in stages.
OperationPlan planOfColors() {
    return {"Colours", {}};
}

// fn works on the mesh with edges.
template <class Fn>
void changeWithEdges(TriangleMesh& mesh, const Fn& fn) {
    const double cellSize = meanSideLength(mesh);
    RMesh rMesh(std::move(mesh.vertices), mesh.indices, cellSize);
    fn(rMesh);
    mesh = flatten(rMesh, VertexOrder::MESH);
}

// Triangles that intersect others; none where they are too crowded to tell.
std::vector<std::uint32_t> findIntersecting(const TriangleMesh& mesh) {
    std::vector<std::uint32_t> vTriangles;
    for (const TrianglePair& pair : lookForIntersectingPairs(mesh).value_or(std::vector<TrianglePair>()))
        vTriangles.insert(vTriangles.end(), pair.begin(), pair.end());
    return vTriangles;
}

// Whether triangles do not intersect, and must not later. Where they are too crowded to tell they may.
bool isEmbedded(const TriangleMesh& mesh) {
    OptionalStage stage("UT_look", 1);
    const auto pairs = lookForIntersectingPairs(mesh, 0);
    stage.finish();
    return pairs && pairs->empty();
}

OperationPlan withLooks(OperationPlan plan, bool bUntangle) {
    constexpr double share = 0.15;
    if (!bUntangle) return plan;
    double sum = 0.0;
    for (const auto& [tag, weight] : plan.stages) sum += weight;
    plan.stages.insert(plan.stages.begin(), {"UT_look", share * sum});
    plan.stages.emplace_back("UT_find", share * sum);
    return plan;
}

// changeWithEdges(), and triangles that intersect since then are parted. Only those of a manifold can be.
template <class Fn>
void changeEmbedded(TriangleMesh& mesh, bool bUntangle, const Fn& fn) {
    const bool bLook = bUntangle && isEmbedded(mesh);
    changeWithEdges(mesh, fn);
    OptionalStage stage("UT_find", 1);
    const bool bTangled = bLook && !lookForIntersectingPairs(mesh, 0).value_or(std::vector<TrianglePair>()).empty();
    stage.finish();
    if (!bTangled) return;
    ManifoldReport mended;
    if (!checkTriangles(mesh).manifold) makeManifold(mesh, {}, mended);
    untangleMesh(mesh);
}

// Vertices where triangles intersect return to where none did, and more around them as long as some do.
void takeBack(TriangleMesh& mesh, const std::vector<Point3>& vBefore) {
    std::vector<bool> vBack(vBefore.size());
    for (;;) {
        const std::vector<std::uint32_t> vTangled = findIntersecting(mesh);
        if (vTangled.empty()) return;
        const auto cornersOf = [&](std::size_t t) { return std::span(mesh.indices).subspan(3 * t, 3); };
        for (const std::uint32_t t : vTangled)
            for (const std::uint32_t v : cornersOf(t)) vBack[v] = true;
        const std::vector<bool> vInside = vBack;
        for (std::size_t t = 0; t < mesh.numTriangles(); ++t)
            if (std::ranges::any_of(cornersOf(t), [&](std::uint32_t v) { return vInside[v]; }))
                for (const std::uint32_t v : cornersOf(t)) vBack[v] = true;
        for (std::size_t v = 0; v < vBack.size(); ++v)
            if (vBack[v]) mesh.vertices[v] = vBefore[v];
    }
}

void checkOptions(const ReduceOptions& options) {
    const bool bError = options.maxError < noLimit;
    if (!bError && options.targetTriangles == 0)
        throw ArgumentError("targetTriangles and maxError are both without a limit; give one of them");
    if (!(options.maxError >= 0.0)) throw ArgumentError("maxError must be 0 or more");
    if (!(options.maxColorStep > 0.0)) throw ArgumentError("maxColorStep must be above 0");
}

void checkOptions(const SmoothingOptions& options) {
    if (options.steps < 0) throw ArgumentError("steps must be 0 or more");
    if (!(options.lambda > 0.0 && options.lambda < 1.0)) throw ArgumentError("lambda must lie between 0 and 1");
    if (options.keepVolume && !(options.mu < -options.lambda && options.mu > -2.0))
        throw ArgumentError("mu must lie below -lambda, by little");
}

}  // namespace

double simplify(TriangleMesh& mesh, const ReduceOptions& options, const Context& context) {
    checkOptions(options);
    double error = 0.0;
    const auto plan = [&] { return withLooks(planOfReduceTo(options), options.untangle); };
    runOnMesh(mesh, context, "reduceTo", plan, [&](TriangleMesh& changed) {
        const bool bLook = options.untangle && isEmbedded(changed);
        error = reduceTo(changed, options, bLook ? FindTriangles(findIntersecting) : FindTriangles());
        OptionalStage("UT_find", 1).finish();
    });
    return error;
}

std::size_t reduceFlat(TriangleMesh& mesh, const ReduceFlatOptions& options, const Context& context) {
    checkOption("maxEdgeLength", options.maxEdgeLength, 0.0, noLimit);
    checkOption("maxDeviationDeg", options.maxDeviationDeg, 0.0, 180.0);
    constexpr double defaultLength = 4.0;  // average edges
    int numRemoved = 0;
    const auto plan = [&] { return withLooks(planOfReduce(), options.untangle); };
    runOnMesh(mesh, context, "reduce", plan, [&](TriangleMesh& changed) {
        const double length =
            options.maxEdgeLength > 0.0 ? options.maxEdgeLength : defaultLength * meanEdgeLength(changed);
        changeEmbedded(changed, options.untangle, [&](RMesh& rMesh) {
            numRemoved = rMesh.reduce(length * length, options.maxDeviationDeg);
            rMesh.killDegenerate();
        });
    });
    return static_cast<std::size_t>(numRemoved);
}

void flipEdges(TriangleMesh& mesh, const Context& context) {
    flipEdges(mesh, context, true);
}

void flipEdges(TriangleMesh& mesh, const Context& context, bool untangle) {
    const auto plan = [&] { return withLooks(planOfEdgeFlips(), untangle); };
    runOnMesh(mesh, context, "edgeFlips", plan, [&](TriangleMesh& changed) {
        changeEmbedded(changed, untangle, [](RMesh& rMesh) { rMesh.edgeFlips(); });
    });
}

void anneal(TriangleMesh& mesh, const Context& context) {
    anneal(mesh, context, true);
}

void anneal(TriangleMesh& mesh, const Context& context, bool untangle) {
    const auto plan = [&] { return withLooks(planOfAnnealing(), untangle); };
    runOnMesh(mesh, context, "edgeFlipsSimA", plan, [&](TriangleMesh& changed) {
        changeEmbedded(changed, untangle, [](RMesh& rMesh) { rMesh.edgeFlipsSimA(); });
    });
}

void smooth(TriangleMesh& mesh, const SmoothingOptions& options, const Context& context) {
    checkOptions(options);
    const auto plan = [&] { return withLooks(planOfSmoothing(), options.untangle); };
    runOnMesh(mesh, context, "laplacianSmoothing", plan, [&](TriangleMesh& changed) {
        const bool bLook = options.untangle && isEmbedded(changed);
        const std::vector<Point3> vBefore = bLook ? changed.vertices : std::vector<Point3>();
        laplacianSmoothing(changed, options);
        OptionalStage stage("UT_find", 1);
        if (bLook) takeBack(changed, vBefore);
        stage.finish();
    });
}

void fillColors(TriangleMesh& mesh, const Context& context) {
    runOnMesh(mesh, context, nullptr, planOfColors, [](TriangleMesh& changed) {
        if (changed.hasColor()) completeColors(changed);
    });
}

void stretchContrast(TriangleMesh& mesh, double lowFraction, double highFraction, const Context& context) {
    checkOption("lowFraction", lowFraction, 0.0, 1.0);
    checkOption("highFraction", highFraction, 0.0, 1.0);
    runOnMesh(mesh, context, nullptr, planOfColors,
              [&](TriangleMesh& changed) { spreadContrast(changed, lowFraction, highFraction); });
}

std::vector<std::array<std::uint32_t, 2>> borderEdges(const TriangleMesh& mesh, const Context& context) {
    checkIndices(mesh);
    return runCall(context, [&] {
        std::vector<std::array<std::uint32_t, 2>> vEdges;
        for (const auto& [low, high] : findBorderEdges(mesh)) vEdges.push_back({low, high});
        return vEdges;
    });
}

double averageEdgeLength(const TriangleMesh& mesh, const Context& context) {
    checkIndices(mesh);
    return runCall(context, [&] { return meanEdgeLength(mesh); });
}

}  // namespace QUOR_ZEF
