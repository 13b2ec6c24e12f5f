#include "zef/zef_api_functions.h"

#include <iostream>
#include <string>

#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "sampling/Smooth.h"

namespace QUOR_ZEF {

void getVersion(int& major, int& minor) {
    major = ZEF_VERSION_MAJOR;
    minor = ZEF_VERSION_MINOR;
}

void printVersion() {
    int major = 0;
    int minor = 0;
    getVersion(major, minor);
    // In one piece, and without leaving a fill or width behind on the stream.
    const std::string fill = minor < 10 ? "0" : "";
    std::cout << "ZEF, version " + std::to_string(major) + "." + fill + std::to_string(minor) << std::endl;
}

bool isPure() {
    return true;
}

bool isRelease() {
    return isPure();
}

double estimateAvgSpacing(std::vector<Point3>& vPoints) {
    planProgress("Density Estimation", {{"CL_eres", 3.0}, {"SM_run", 3.0}, {"CL_creb", 3.0}});
    CloudMgr cloudMgr;
    return cloudMgr.inputPointsViaMemory(vPoints, -1.0, 1.0, false, 361.0, false, nullptr, -1);
}

void resetProcessState() {
    resetMinArea();
}

}  // namespace QUOR_ZEF
