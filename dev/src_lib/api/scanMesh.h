#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "api/sparseParts.h"
#include "cloud/Cloud.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "sides/turnPieces.h"
#include "zef/Mesh.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

// The way from points to a mesh, in the steps that reconstruct() and tiles share.

inline constexpr double unlimited = std::numeric_limits<double>::infinity();  // an option
inline constexpr const char* noPoints = "there are no points with finite coordinates";

// What both families of entries do; the choices are of the newer one.
struct Job {
    double spacing, factor;
    bool bSmooth;
    int numGrowSteps;
    ScanChoices choices;
};

// What the newer entries learn besides the mesh.
struct Findings {
    Reconstruction result;
    PointSource counted;  // the points that were not left out, if wanted
    SparseParts sparseParts;
    std::optional<Calc> calc;
};

// pFindings: what the newer entries learn, which want the triangles alone; or null.
std::shared_ptr<Mesh> run(const PointSource& points, const Job& job, Findings* pFindings);

// Throws an ArgumentError for what cannot work.
void checkOptions(const ReconstructOptions& options, std::size_t numPoints);
// With what a given grid tells in the place of what would be found.
ReconstructOptions settle(const ReconstructOptions& options);
ScanChoices choicesOf(const ReconstructOptions& options);

bool isRefitWanted(const ReconstructOptions& options);
bool areThinWallsKept(const ReconstructOptions& options);

// Up to the mesh that is then fitted to the points.
Findings makeMesh(const PointSource& points, const PointNormals& normals, const ReconstructOptions& options,
                  const ScanChoices& choices);

// As measured, else as given.
double spacingOfPoints(const Reconstruction& result);

// Of the points, the standard deviation from their surface, in spacings; -1 where too few tell it.
double measureNoise(const PointSource& points, double spacing);

// A given spacing is that of the vertices, which the points need not have.
// noise: as measureNoise() tells it.
void refitToPoints(const PointSource& points, const ReconstructOptions& options, double noise, Reconstruction& result);

}  // namespace QUOR_ZEF
