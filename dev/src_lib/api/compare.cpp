#include "zef/compare.h"

#include <limits>
#include <string>

#include "api/calls.h"
#include "api/plans.h"
#include "compare/compareMeshes.h"
#include "compare/distanceColors.h"

namespace QUOR_ZEF {

Comparison compare(const TriangleMesh& mesh, const TriangleMesh& reference, const CompareOptions& options,
                   const Context& context) {
    constexpr double mostSamples = 2147483648.0, mostBins = 10'000.0;
    checkOption("samples", static_cast<double>(options.samples), 1.0, mostSamples);
    checkOption("limit", options.limit, 0.0, std::numeric_limits<double>::infinity());
    checkOption("bins", options.bins, 1.0, mostBins);
    checkMesh(mesh);
    checkMesh(reference, "reference");
    return runCall(context, [&] {
        Comparison made;
        runPlanned(planOfComparing(), [&] { made = compareMeshes(mesh, reference, options); });
        return made;
    });
}

void colorByDistance(TriangleMesh& mesh, std::span<const double> distances, double limit) {
    checkOption("limit", limit, std::numeric_limits<double>::min(), std::numeric_limits<double>::infinity());
    if (distances.size() != mesh.vertices.size())
        throw ArgumentError("distances: " + std::to_string(distances.size()) + " for " +
                            std::to_string(mesh.vertices.size()) + " vertices; give one for each");
    setDistanceColors(mesh, distances, limit);
}

}  // namespace QUOR_ZEF
