#include "zef/zef_api_functions.h"

#include <iostream>
#include <string>

#include "api/plans.h"
#include "cloud/CloudMgr.h"
#include "frame/Run.h"
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
    planSpacing();
    CloudMgr cloudMgr;
    const double spacing = cloudMgr.inputPointsViaMemory(vPoints, -1.0, 1.0, false, 361.0, false, nullptr, -1);
    if (getRun()) finishProgress();
    return spacing;
}

void resetProcessState() {
    resetMinArea();
}

}  // namespace QUOR_ZEF
