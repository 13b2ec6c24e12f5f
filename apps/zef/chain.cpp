#include "chain.h"

#include <algorithm>
#include <cmath>

#include "numbers.h"
#include "zef/meshCheck.h"
#include "zef/refinement.h"

namespace {

// Of a mesh of so many triangles; 0 if the text is none.
double parseTarget(const std::string& text, double numTriangles) {
    const bool bShare = !text.empty() && text.back() == '%';
    double value = 0.0;
    if (!parseNumber(bShare ? text.substr(0, text.size() - 1) : text, value) || !(value > 0.0)) return 0.0;
    if (bShare) return value <= 100.0 ? std::max(1.0, std::floor(value / 100.0 * numTriangles)) : 0.0;
    return value == std::floor(value) && value <= 1e15 ? value : 0.0;
}

}  // namespace

std::string checkTarget(const std::string& text) {
    return parseTarget(text, 1.0) > 0.0 ? "" : text + " is no number of triangles, and no share such as 10%";
}

void reduceMesh(CommandRun& commandRun, const ReduceGoal& goal, bool bUntangle, zef::TriangleMesh& mesh) {
    commandRun.step("reducing");
    zef::ReduceOptions options;
    const double numTriangles = static_cast<double>(mesh.numTriangles());
    options.targetTriangles = static_cast<std::size_t>(parseTarget(goal.target, numTriangles));
    if (goal.error > 0.0) options.maxError = goal.error;
    options.untangle = bUntangle;
    const double reached = zef::simplify(mesh, options, commandRun.getContext());
    commandRun.report.addNumber("error", "error reached", reached);
}

void addChainOptions(CLI::App& command, Chain& chain) {
    command.add_option("--smooth-steps", chain.numSmoothSteps, "Then smooth the mesh so often, keeping its volume")
        ->check(checkCount);
    command.add_flag("--flip", chain.bFlip, "Then straighten creases by flipping edges");
    command
        .add_option("--reduce", chain.goal.target, "Then reduce it to a number of triangles, or to a share such as 10%")
        ->check(checkTarget)
        ->type_name("N|P%");
    command
        .add_option("--reduce-error", chain.goal.error,
                    "Then reduce it as far as it stays within that distance, in the unit of the points")
        ->check(checkPositive);
}

void runChain(CommandRun& commandRun, const Chain& chain, bool bMend, bool bUntangle, zef::TriangleMesh& mesh) {
    if (chain.numSmoothSteps > 0) {
        commandRun.step("smoothing");
        zef::SmoothingOptions options;
        options.steps = chain.numSmoothSteps;
        options.keepVolume = true;
        options.untangle = bUntangle;
        zef::smooth(mesh, options, commandRun.getContext());
    }
    if (chain.bFlip) {
        commandRun.step("flipping");
        zef::flipEdges(mesh, commandRun.getContext(), bUntangle);
        if (bMend) mendMesh(commandRun, mesh);
    }
    if (chain.goal.isGiven()) reduceMesh(commandRun, chain.goal, bUntangle, mesh);
}

void mendMesh(CommandRun& commandRun, zef::TriangleMesh& mesh) {
    if (zef::check(mesh, commandRun.getContext()).manifold) return;
    zef::ManifoldOptions options;
    options.fillHoles = false;
    zef::mend(mesh, options, commandRun.getContext());
}
