#include "frame/stageCosts.h"

#include <algorithm>

namespace QUOR_ZEF {

namespace {

// Of the cost of these stages, threads divide so much.
constexpr double sharedPlanes = 0.5;
double sharedFilling(double numCells, bool bUneven) {
    constexpr double cellsForAll = 1.3e5;
    return std::min(numCells / cellsForAll, bUneven ? 0.6 : 0.25);
}

double costAmong(double numThreads, double share, double cost) {
    return cost * (1.0 - share + share / numThreads);
}

}  // namespace

ScanSize ScanSize::guess(double numPoints, double factor) {
    constexpr double cellsPerPoint = 0.57;  // for a factor of 1
    return {numPoints, numPoints, cellsPerPoint * numPoints / (factor * factor), false};
}

ProgressPlan costsOfReconstruction(const ScanSize& size) {
    constexpr double samplesOfNoise = 6'000.0, pointsPerSample = 20.0;
    const double n = size.numPoints, in = size.numInput, c = size.numCells;
    const auto either = [&](double even, double uneven) { return size.bUneven ? uneven : even; };
    const auto among = [&](double share, double cost) { return costAmong(size.numThreads, share, cost); };
    return {{"CL_out", either(0.07, 0.025) * in},
            {"CL_eres", either(0.015, 0.005) * in},
            {"CL_dens", among(0.85, either(0.02, 6.65) * in)},
            {"SM_run", among(sharedPlanes, either(0.75, 0.45) * n)},
            {"CL_creb", either(0.58, 1.1) * n},
            {"CL_fill", among(sharedFilling(c, size.bUneven), size.bUneven ? 10.0 * in : 2.4 * c)},
            {"HL_st", 0.04 * c},
            {"VO_ftx", among(0.6, 0.6 * c)},
            {"VO_amb", among(0.6, 0.3 * c)},
            {"TP_unif", among(0.5, 0.4 * c)},
            {"TP_pps", either(0.15, 0.2) * c},
            {"TP_cbcpl", 0.1 * c},
            {"TP_itr", 0.05 * c},
            {"TP_fin", 0.5 * c},
            {"RM_cpo", 0.2 * c},
            {"RM_kdeg", 0.15 * c},
            {"MF_edges", 0.15 * c},
            {"MF_mend", 0.08 * c},
            {"MF_loops", either(0.1, 0.7) * c},
            {"MF_renew", (size.bScattered ? 1.5 : either(0.3, 1.2)) * c},
            {"MF_face", 0.2 * c},
            {"SD_turn", among(0.6, either(0.05, 1.1) * c)},
            {"HD_cut", either(0.2, 0.3) * c},
            {"RF_fit", among(0.8, (size.bScattered ? 1.2 : 1.0) * (45e3 + 1.3 * in + 3.7 * c))},
            {"CL_close", 2.0 * c},
            {"UT_find", among(0.7, 0.8 * c)},
            {"UT_part", size.bScattered ? 0.6 * c : either(0.1 * c, 30e3 + 2.8 * c)},
            {"CK_fit", among(0.95, 80e3 + 0.08 * in)},
            {"CK_noise",
             among(0.95, (size.bScattered ? 14.0 : 6.5) * std::min(samplesOfNoise, in / pointsPerSample) + 0.03 * in)}};
}

double costOfFilling(double numCells, double numBorderCells, int numGrowSteps, bool bUneven, double numThreads) {
    const double perCell = 0.85, perBorderCellAndStep = bUneven ? 4.2 : 4.5;
    const double all = perCell * numCells + perBorderCellAndStep * numBorderCells * numGrowSteps;
    return costAmong(numThreads, sharedFilling(numCells, bUneven), all);
}

double costOfSmoothedPlanes(double numPoints, double numThreads) {
    return costAmong(numThreads, sharedPlanes, 1.45 * numPoints);
}

}  // namespace QUOR_ZEF
