#include <memory>
#include <vector>

#include "api/Hal.h"
#include "cloud/CloudMgr.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "zef/Mesh.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

// Weights are shares of the expected time; the names are those that the stages ask for.
void planMelt() {
    planProgress("Melt",
                 {{"dih2e", 0.061},        {"reo", 0.013},         {"rFins", 0.002},          {"feate", 0.019},
                  {"nfeate", 0.084},       {"ar4", 0.092},         {"oifc", 0.025},           {"mandiffe", 0.042},
                  {"mandiffa", 0.943},     {"VO_ftx", 3.0},        {"VO_amb", 3.0},           {"TP_cbcpl", 6.0},
                  {"TP_pps", 5.0},         {"RM_cpo", 1.09},       {"RM_kdeg", 4.0},          {"hal-part", 10.0},
                  {"CL_eres", 3.0},        {"SM_run", 3.0},        {"CL_creb", 3.0},          {"HL_st", 3.0},
                  {"TP_unif", 0.6},        {"TP_itr", 1.0},        {"TP_fin", 1.7},           {"efLoop", 5.0},
                  {"RM_redborder", 0.263}, {"RM_redprioq", 0.824}, {"RM_redprocprioq", 15.0}, {"RM_gEfCandMT", 2.0}});
}

void planToCloud() {
    planProgress("ToCloud", {{"CL_eres", 3.0},
                             {"dih2e", 3.0},
                             {"reo", 3.0},
                             {"rFins", 3.0},
                             {"feate", 10.0},
                             {"nfeate", 50.0},
                             {"hal-part", 10.0},
                             {"ar4", 100.0},
                             {"oifc", 10.0},
                             {"mandiffe", 10.0},
                             {"mandiffa", 100.0}});
}

void inputTriangles(CloudMgr& cloudMgr, std::vector<Point3>& vPoints, double absSpacing, double featureAngle) {
    cloudMgr.inputPointsViaMemory(vPoints, absSpacing, -1.0, true, featureAngle, false, nullptr, -1);
}

}  // namespace

std::shared_ptr<Mesh> melt(std::vector<Point3>& vPoints, double absSpacing, double featureAngle) {
    passLicenseGate("melt", vPoints.size());
    planMelt();
    passLicenseGate("license state", vPoints.size());
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, vPoints, absSpacing, featureAngle);
    Hal hal(&cloudMgr);
    std::shared_ptr<Mesh> pMesh = hal.oneMelt();
    getProgress()->finish(true);
    getProgress()->reset();
    return pMesh;
}

void toCloud(std::vector<Point3>& vPoints, double absSpacing, double featureAngle, std::vector<Point3>& vOut) {
    planToCloud();
    passLicenseGate("license state", vPoints.size());
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, vPoints, absSpacing, featureAngle);
    Hal hal(&cloudMgr);
    std::vector<Point3*> vSamples;
    hal.toCloud(vSamples);
    vOut.reserve(vOut.size() + vSamples.size());
    for (const Point3* pSample : vSamples) vOut.push_back(*pSample);
    getProgress()->finish(true);
    getProgress()->reset();
}

}  // namespace QUOR_ZEF
