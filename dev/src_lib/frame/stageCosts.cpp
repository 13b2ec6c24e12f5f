#include "frame/stageCosts.h"

#include <algorithm>

namespace QUOR_ZEF {

ScanSize ScanSize::guess(double numPoints, double factor) {
    constexpr double cellsPerPoint = 0.65;  // for a factor of 1
    return {numPoints, numPoints, cellsPerPoint * numPoints / (factor * factor), false};
}

ProgressPlan costsOfReconstruction(const ScanSize& size) {
    constexpr double samplesOfNoise = 6'000.0, pointsPerSample = 20.0;
    const double n = size.numPoints, in = size.numInput, c = size.numCells;
    const auto either = [&](double even, double uneven) { return size.bUneven ? uneven : even; };
    return {{"CL_out", 0.07 * in},
            {"CL_eres", 0.015 * in},
            {"CL_dens", either(0.02, 12.0) * in},
            {"SM_run", either(0.68, 0.55) * n},
            {"CL_creb", either(0.6, 1.15) * n},
            {"CL_fill", either(0.3, 11.3) * in},
            {"HL_st", 0.04 * c},
            {"VO_ftx", 0.6 * c},
            {"VO_amb", 0.3 * c},
            {"TP_unif", 0.4 * c},
            {"TP_pps", either(0.45, 0.2) * c},
            {"TP_cbcpl", 0.1 * c},
            {"TP_itr", 0.05 * c},
            {"TP_fin", 0.5 * c},
            {"RM_cpo", 0.2 * c},
            {"RM_kdeg", 0.15 * c},
            {"MF_edges", 0.15 * c},
            {"MF_mend", 0.08 * c},
            {"MF_loops", either(0.1, 0.7) * c},
            {"MF_renew", either(0.3, 1.2) * c},
            {"MF_face", 0.2 * c},
            {"SD_turn", either(0.05, 1.1) * c},
            {"RF_fit", 1.3 * in + 4.0 * c},
            {"UT_find", 0.8 * c},
            {"UT_part", either(0.03, 1.5) * c},
            {"CK_fit", 45e3 + 0.1 * in},
            {"CK_noise", 5.0 * std::min(samplesOfNoise, in / pointsPerSample) + 0.03 * in}};
}

double costOfFilling(double numBorderCells, int numGrowSteps, bool bUneven) {
    const double perCellAndStep = bUneven ? 8.5 : 2.6;
    return perCellAndStep * numBorderCells * numGrowSteps;
}

double costOfSmoothedPlanes(double numPoints) {
    return 1.5 * numPoints;
}

}  // namespace QUOR_ZEF
