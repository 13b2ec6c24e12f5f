#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <vector>

#include "api/Hal.h"
#include "api/MeshBody.h"
#include "api/calls.h"
#include "api/plans.h"
#include "api/untangled.h"
#include "cloud/CloudMgr.h"
#include "frame/License.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "mend/Manifold.h"
#include "zef/Mesh.h"
#include "zef/reconstruction.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

void inputTriangles(CloudMgr& cloudMgr, const PointSource& corners, double absSpacing, double featureAngle) {
    cloudMgr.inputPointsViaMemory(corners, absSpacing, -1.0, true, featureAngle, false, nullptr, -1);
}

std::shared_ptr<Mesh> meltCorners(const PointSource& corners, double absSpacing, double featureAngle, bool bMend,
                                  bool bUntangle) {
    passLicenseGate("melt", corners.size());
    planMelt(bMend, bUntangle);
    passLicenseGate("license state", corners.size());
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, corners, absSpacing, featureAngle);
    Hal hal(&cloudMgr);
    return hal.oneMelt();
}

void sampleCorners(const PointSource& corners, double absSpacing, double featureAngle, std::vector<Point3>& vOut) {
    planToCloud();
    passLicenseGate("license state", corners.size());
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, corners, absSpacing, featureAngle);
    Hal hal(&cloudMgr);
    std::vector<Point3*> vSamples;
    hal.toCloud(vSamples);
    vOut.reserve(vOut.size() + vSamples.size());
    for (const Point3* pSample : vSamples) vOut.push_back(*pSample);
    finishProgress();
}

double defaultSpacing(PointSource corners) {
    // Some 100,000 triangles for a body that fills its box: seconds, and detail enough to judge by.
    constexpr double cellsPerBox = 200.0;
    constexpr double none = std::numeric_limits<double>::infinity();
    corners.keepFinite(3);
    std::array<double, 3> low{none, none, none}, high{-none, -none, -none};
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Point3 p = corners[i];
        const std::array<double, 3> coords{p.px, p.py, p.pz};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], coords[axis]);
            high[axis] = std::max(high[axis], coords[axis]);
        }
    }
    return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2], 0.0}) / cellsPerBox;
}

// The spacing that the options stand for.
double checkOptions(const PointSource& corners, const MeltOptions& options) {
    checkOption("spacing", options.spacing, 0.0, std::numeric_limits<double>::infinity());
    checkOption("featureAngle", options.featureAngle, 0.0, 361.0);
    if (corners.size() % 3 != 0)
        throw ArgumentError("corners: " + std::to_string(corners.size()) +
                            " corners are no multiple of three; a triangle is cut short");
    if (options.spacing > 0.0) return options.spacing;
    const double spacing = defaultSpacing(corners);
    if (spacing > 0.0) return spacing;
    throw NoSurfaceError("the triangles have no size to take a spacing from; give one");
}

// O(n), since a soup is taken corner by corner.
std::vector<Point3> cornersOf(const TriangleMesh& mesh) {
    checkIndices(mesh, "triangles");
    std::vector<Point3> vCorners;
    vCorners.reserve(mesh.indices.size());
    for (const std::uint32_t index : mesh.indices) vCorners.push_back(mesh.vertices[index]);
    return vCorners;
}

TriangleMesh meltSource(const PointSource& corners, const MeltOptions& options, const Context& context) {
    return runCall(context, [&] {
        const double spacing = checkOptions(corners, options);
        const std::shared_ptr<Mesh> pMesh =
            meltCorners(corners, spacing, options.featureAngle, options.mend, options.untangle);
        if (!pMesh || pMesh->getNumT() == 0)
            throw NoSurfaceError("no surface came out of the triangles; try a smaller spacing");
        TriangleMesh mesh = pMesh->releaseTriangles();
        if (options.mend) {
            ManifoldOptions mending;
            mending.exactVertices = true;
            ManifoldReport ignored;
            makeManifold(mesh, mending, ignored);
            if (options.untangle) untangleForFiles(mesh, spacing);
        }
        finishProgress();
        return mesh;
    });
}

std::vector<Point3> resampleSource(const PointSource& corners, const MeltOptions& options, const Context& context) {
    return runCall(context, [&] {
        const double spacing = checkOptions(corners, options);
        std::vector<Point3> vPoints;
        sampleCorners(corners, spacing, options.featureAngle, vPoints);
        if (vPoints.empty()) throw NoSurfaceError("no points came out of the triangles; try a smaller spacing");
        return vPoints;
    });
}

}  // namespace

std::shared_ptr<Mesh> melt(std::vector<Point3>& vPoints, double absSpacing, double featureAngle) {
    std::shared_ptr<Mesh> pMesh = meltCorners(vPoints, absSpacing, featureAngle, false, false);
    finishProgress();
    return pMesh;
}

void toCloud(std::vector<Point3>& vPoints, double absSpacing, double featureAngle, std::vector<Point3>& vOut) {
    sampleCorners(vPoints, absSpacing, featureAngle, vOut);
}

double defaultMeltSpacing(std::span<const Point3> corners) {
    return defaultSpacing(corners);
}

TriangleMesh melt(std::span<const Point3> corners, const MeltOptions& options, const Context& context) {
    checkSpan(corners, "corners");
    return meltSource(corners, options, context);
}

TriangleMesh melt(const PointView& corners, const MeltOptions& options, const Context& context) {
    checkView(corners);
    return meltSource(corners, options, context);
}

TriangleMesh melt(const TriangleMesh& triangles, const MeltOptions& options, const Context& context) {
    return melt(cornersOf(triangles), options, context);
}

std::vector<Point3> resample(std::span<const Point3> corners, const MeltOptions& options, const Context& context) {
    checkSpan(corners, "corners");
    return resampleSource(corners, options, context);
}

std::vector<Point3> resample(const PointView& corners, const MeltOptions& options, const Context& context) {
    checkView(corners);
    return resampleSource(corners, options, context);
}

std::vector<Point3> resample(const TriangleMesh& triangles, const MeltOptions& options, const Context& context) {
    return resample(cornersOf(triangles), options, context);
}

}  // namespace QUOR_ZEF
