#include <memory>
#include <vector>

#include "api/Hal.h"
#include "cloud/CloudMgr.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "zef/Mesh.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

void planReconstruction() {
    planProgress("Reconstruct", {{"CL_eres", 3.0},
                                 {"SM_run", 3.0},
                                 {"CL_creb", 3.0},
                                 {"HL_st", 3.0},
                                 {"VO_ftx", 3.0},
                                 {"VO_amb", 3.0},
                                 {"TP_unif", 10.0},
                                 {"TP_pps", 100.0},
                                 {"TP_cbcpl", 100.0},
                                 {"TP_itr", 50.0},
                                 {"TP_fin", 30.0},
                                 {"RM_cpo", 10.0},
                                 {"RM_kdeg", 10.0},
                                 {"RM_gEfCandMT", 10.0},
                                 {"efLoop", 10.0}});
}

}  // namespace

std::shared_ptr<Mesh> reconstruct(std::vector<Point3>& vPoints, const ReconstructOptions& options,
                                  ReconstructInfo* pInfo) {
    constexpr double noFeatureAngle = 361.0;
    passLicenseGate("reconstruct", vPoints.size());
    planReconstruction();
    passLicenseGate("license state", vPoints.size());
    CloudMgr cloudMgr;
    cloudMgr.bKeepBorders = options.keepBorders;
    cloudMgr.inputPointsViaMemory(vPoints, options.spacing, options.factor, false, noFeatureAngle, options.smooth,
                                  nullptr, options.growSteps);
    Hal hal(&cloudMgr);
    std::shared_ptr<Mesh> pMesh = hal.reconstruct();
    if (pInfo) {
        const Cloud& cloud = *cloudMgr.getClouds().front();
        *pInfo = {cloud.numPoints, cloud.getEstimatedSpacing(), cloud.usedSpacing, hal.getNumCells()};
    }
    getProgress()->finish(true);
    getProgress()->reset();
    return pMesh;
}

std::shared_ptr<Mesh> reconstruct(std::vector<Point3>& vPoints, const ReconstructOptions& options) {
    return reconstruct(vPoints, options, nullptr);
}

std::shared_ptr<Mesh> reconstruct_abs(std::vector<Point3>& vPoints, bool bSmooth, double absSpacing, int numGrowSteps) {
    return reconstruct(vPoints, {absSpacing, -1.0, bSmooth, numGrowSteps, false}, nullptr);
}

std::shared_ptr<Mesh> reconstruct_auto(std::vector<Point3>& vPoints, bool bSmooth, double spacingFactor,
                                       int numGrowSteps) {
    return reconstruct(vPoints, {-1.0, spacingFactor, bSmooth, numGrowSteps, false}, nullptr);
}

}  // namespace QUOR_ZEF
