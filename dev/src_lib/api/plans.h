#pragma once

#include <cstddef>

#include "frame/Progress.h"
#include "zef/reconstruction.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// What the entries tell of their progress: their stages and the shares of time that these
// take. Calls with surroundings of their own plan the stages that they run; the others have
// plans that name stages of other calls too, so that some of them never begin.

// Set the calling thread's root. The older entries have no say in what is planned.
void planReconstruction(const ReconstructOptions& options, std::size_t numPoints);
bool isNoiseMeasured(const ReconstructOptions& options);  // as that plan tells
void planGrid(const ReconstructOptions& options, std::size_t numPoints);
void planMeasuring(bool bDensity);  // or the spacing alone
void planSpacing();
void planMelt(const MeltOptions& options);
void planToCloud();
void planReading(bool bComparing);  // of a file; and positions, for equal ones
void planReadingFiles();            // a part at a time
void planWriting();                 // of a file, which tells by itself that all is done

// An operation on a mesh, which may be part of a run that has planned its stages.
struct OperationPlan {
    const char* name;
    ProgressPlan stages;
};
OperationPlan planOfEdgeFlips();
OperationPlan planOfAnnealing();
OperationPlan planOfReduce();
OperationPlan planOfReduceTo(const ReduceOptions& options);
OperationPlan planOfSmoothing();
OperationPlan planOfRefitting();
OperationPlan planOfMaking(bool bUntangle = false);  // a mesh manifold
OperationPlan planOfUntangling();
OperationPlan planOfChecking();
OperationPlan planOfIntersections();
OperationPlan planOfFindingHandles();
OperationPlan planOfFindingThin();
OperationPlan planOfComparing();

// Says that all is done, and forgets the plan.
void finishProgress();

// Runs fn with the plan, unless a run is going on that has planned for it.
template <class Fn>
void runPlanned(const OperationPlan& plan, const Fn& fn) {
    const bool bOwn = ensureProgressPlan(plan.name, plan.stages);
    fn();
    if (bOwn) finishProgress();
}

}  // namespace QUOR_ZEF
