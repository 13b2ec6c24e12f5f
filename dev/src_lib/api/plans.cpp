#include "api/plans.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "frame/Run.h"
#include "frame/stageCosts.h"
#include "parallel/concurrency.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

// Making the mesh manifold takes a seventh of the time.
void addMending(ProgressPlan& plan) {
    constexpr double share = 0.15;
    for (const auto& [tag, weight] : planOfMaking().stages) plan.emplace_back(tag, share * weight);
}

// Samples of triangles.
const ProgressPlan samplingStages = {{"dih2e", 2.0}, {"reo", 1.0},      {"rFins", 0.5},
                                     {"feate", 1.0}, {"nfeate", 4.0},   {"ar4", 4.0},
                                     {"oifc", 0.1},  {"mandiffe", 0.2}, {"mandiffa", 0.5}};

// Of a run with surroundings.
ProgressPlan stagesOf(const ReconstructOptions& options, std::size_t numPoints) {
    std::vector<std::string_view> vLeftOut;
    const auto leaveOutUnless = [&](bool bWanted, std::initializer_list<std::string_view> tags) {
        if (!bWanted) vLeftOut.insert(vLeftOut.end(), tags);
    };
    const bool bDensity = options.density != Density::EVEN && options.levels > 0;
    const bool bMeasured = bDensity && options.density == Density::AUTO;
    leaveOutUnless(!options.keepOutliers, {"CL_out"});
    leaveOutUnless(!(options.spacing > 0.0) || bMeasured, {"CL_eres"});
    leaveOutUnless(bDensity, {"CL_dens"});
    leaveOutUnless(options.growSteps > 0, {"CL_fill"});
    leaveOutUnless(options.mend, {"MF_edges", "MF_mend", "MF_loops", "MF_renew", "MF_face", "SD_turn"});
    leaveOutUnless(options.mend && options.minHandle > 0.0, {"HD_cut"});
    leaveOutUnless(options.mend && options.refit, {"RF_fit"});
    leaveOutUnless(options.closed, {"CL_close"});
    leaveOutUnless(options.mend && options.untangle, {"UT_find", "UT_part"});
    leaveOutUnless(options.measureCoverage, {"CK_fit"});
    leaveOutUnless(isNoiseMeasured(options), {"CK_noise"});
    ScanSize size = ScanSize::guess(static_cast<double>(numPoints), options.spacing > 0.0 ? 1.3 : options.factor);
    size.bUneven = options.density == Density::UNEVEN;
    size.numThreads = getNumThreads();
    ProgressPlan plan = costsOfReconstruction(size);
    std::erase_if(plan, [&](const auto& stage) {
        return std::find(vLeftOut.begin(), vLeftOut.end(), stage.first) != vLeftOut.end();
    });
    return plan;
}

}  // namespace

bool isNoiseMeasured(const ReconstructOptions& options) {
    return options.measureCoverage || (options.mend && options.refit && !options.grid);
}

void planReconstruction(const ReconstructOptions& options, std::size_t numPoints) {
    if (!getRun()) {
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
        return;
    }
    planProgress("Reconstruct", stagesOf(options, numPoints));
}

void planGrid(const ReconstructOptions& options, std::size_t numPoints) {
    constexpr std::array<std::string_view, 5> first = {"CL_out", "CL_eres", "CL_dens", "SM_run", "CK_noise"};
    ReconstructOptions measuring = options;
    measuring.measureCoverage = true;
    ProgressPlan plan = stagesOf(measuring, numPoints);
    std::erase_if(plan, [&](const auto& stage) { return std::ranges::find(first, stage.first) == first.end(); });
    planProgress("measuring", plan);
}

void planMeasuring(bool bDensity) {
    ProgressPlan plan = {{"CL_out", 5.0}, {"CL_eres", 1.0}};
    if (bDensity) plan.emplace_back("CL_dens", 1.0);
    planProgress("measuring", plan);
}

void planSpacing() {
    if (getRun())
        planProgress("Density Estimation", {{"CL_eres", 1.0}, {"SM_run", 61.0}, {"CL_creb", 38.0}});
    else
        planProgress("Density Estimation", {{"CL_eres", 3.0}, {"SM_run", 3.0}, {"CL_creb", 3.0}});
}

void planMelt(const MeltOptions& options) {
    if (!getRun()) {
        planProgress(
            "Melt",
            {{"dih2e", 0.061},        {"reo", 0.013},         {"rFins", 0.002},          {"feate", 0.019},
             {"nfeate", 0.084},       {"ar4", 0.092},         {"oifc", 0.025},           {"mandiffe", 0.042},
             {"mandiffa", 0.943},     {"VO_ftx", 3.0},        {"VO_amb", 3.0},           {"TP_cbcpl", 6.0},
             {"TP_pps", 5.0},         {"RM_cpo", 1.09},       {"RM_kdeg", 4.0},          {"hal-part", 10.0},
             {"CL_eres", 3.0},        {"SM_run", 3.0},        {"CL_creb", 3.0},          {"HL_st", 3.0},
             {"TP_unif", 0.6},        {"TP_itr", 1.0},        {"TP_fin", 1.7},           {"efLoop", 5.0},
             {"RM_redborder", 0.263}, {"RM_redprioq", 0.824}, {"RM_redprocprioq", 15.0}, {"RM_gEfCandMT", 2.0}});
        return;
    }
    ProgressPlan plan = samplingStages;
    if (options.mend) plan.emplace_back("SO_solid", 5.0);
    if (!options.outer) {
        const ProgressPlan repair = {{"VO_ftx", 24.0}, {"VO_amb", 1.0}, {"TP_cbcpl", 24.0},
                                     {"TP_pps", 20.0}, {"RM_cpo", 5.0}, {"RM_kdeg", 7.0}};
        plan.insert(plan.end(), repair.begin(), repair.end());
        if (options.mend) addMending(plan);
        if (options.mend && options.untangle) plan.insert(plan.end(), {{"UT_find", 15.0}, {"UT_part", 8.0}});
    }
    planProgress("Melt", plan);
}

void planToCloud() {
    if (!getRun()) {
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
        return;
    }
    ProgressPlan plan = samplingStages;
    plan.emplace_back("hal-part", 1.0);
    planProgress("ToCloud", plan);
}

OperationPlan planOfEdgeFlips() {
    if (getRun()) return {"EdgeFlips", {{"RM_kdeg", 8.0}, {"RM_gEfCandMT", 42.0}, {"efLoop", 50.0}}};
    return {"EdgeFlips", {{"RM_kdeg", 1.0}, {"RM_gEfCandMT", 1.0}, {"efLoop", 1.0}}};
}

OperationPlan planOfAnnealing() {
    OperationPlan plan = planOfEdgeFlips();
    plan.name = "EdgeFlipsS";
    for (const double temperature : RMesh::getAnnealingSchedule()) {
        plan.stages.emplace_back(RMesh::getCandidateStage(temperature), getRun() ? 70.0 : 1.0);
        if (getRun()) plan.stages.emplace_back(RMesh::getAnnealingStage(temperature), 100.0);
    }
    return plan;
}

OperationPlan planOfReduce() {
    const bool bRun = getRun() != nullptr;
    return {"Reduce",
            {{"RM_kdeg", bRun ? 1.0 : 3.0},
             {"RM_redborder", bRun ? 0.1 : 1.0},
             {"RM_redprioq", bRun ? 8.5 : 3.0},
             {"RM_redprocprioq", bRun ? 90.4 : 93.0}}};
}

OperationPlan planOfReduceTo(const ReduceOptions& options) {
    if (std::isfinite(options.maxError))
        return {"ReduceTo", {{"RM_rtscore", 0.5}, {"RM_rtloop", 92.0}, {"RM_rtmeas", 7.5}}};
    return {"ReduceTo", {{"RM_rtscore", 2.5}, {"RM_rtloop", 55.0}, {"RM_rtmeas", 42.5}}};
}

OperationPlan planOfSmoothing() {
    return {"Smoothing", {{"RM_smooth", 1.0}}};
}

OperationPlan planOfRefitting() {
    return {"Refitting", {{"CK_mesh", 1.0}, {"RF_fit", 9.0}, {"UT_find", 1.5}, {"UT_part", 0.3}}};
}

OperationPlan planOfMaking(bool bUntangle) {
    OperationPlan plan = {
        "MakeManifold",
        {{"MF_edges", 30.0}, {"MF_mend", 12.0}, {"MF_loops", 15.0}, {"MF_renew", 23.0}, {"MF_face", 20.0}}};
    if (bUntangle) plan.stages.insert(plan.stages.end(), {{"UT_find", 80.0}, {"UT_part", 20.0}});
    return plan;
}

OperationPlan planOfUntangling() {
    return {"Untangle", {{"CK_mesh", 20.0}, {"UT_find", 60.0}, {"UT_part", 20.0}}};
}

OperationPlan planOfChecking() {
    return {"CheckMesh", {{"CK_mesh", 1.0}}};
}

OperationPlan planOfFindingHandles() {
    return {"FindHandles", {{"CK_mesh", 60.0}, {"HD_find", 40.0}}};
}

OperationPlan planOfFindingThin() {
    return {"FindThinPlaces", {{"SI_cells", 20.0}, {"TH_walls", 80.0}}};
}

OperationPlan planOfIntersections() {
    return {"CountSelfIntersections", {{"SI_cells", 40.0}, {"SI_pairs", 60.0}}};
}

void planReading(bool bComparing) {
    ProgressPlan plan = {{"IO_load", 20.0}, {"IO_read", 80.0}};
    if (bComparing) plan.emplace_back("IO_pos", 100.0);
    planProgress("Read", plan);
}

void planReadingFiles() {
    planProgress("Read", {{"IO_files", 1.0}});
}

void planWriting() {
    planProgress("Write", {{"IO_write", 1.0}});
}

OperationPlan planOfComparing() {
    return {"Compare", {{"CP_there", 50.0}, {"CP_back", 50.0}}};
}

void finishProgress() {
    getProgress()->finish(true);
    getProgress()->reset();
}

}  // namespace QUOR_ZEF
