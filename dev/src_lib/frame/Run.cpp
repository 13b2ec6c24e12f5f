#include "frame/Run.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "frame/Progress.h"
#include "frame/stageWords.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

thread_local Run* pCurrent = nullptr;
thread_local bool bWorker = false;

}  // namespace

Run::~Run() = default;

void Run::message(Severity severity, std::string_view text) {
    if (!context.message) return;
    const std::lock_guard lock(mutex);
    context.message(severity, text);
}

void Run::setError(const std::string& text) {
    const std::lock_guard lock(mutex);
    error = text;
}

std::string Run::getError() {
    const std::lock_guard lock(mutex);
    return error;
}

void Run::enterStage(const std::string& tag) {
    if (tag == stageTag) return;
    stageTag = tag;
    report();
}

void Run::update(const std::string& /*name*/, double value) {
    const bool bBetween = fromValue < 1.0 && value < 1.0;  // else rounding could keep it below 1
    const double share = bBetween ? fromShare + (1.0 - fromShare) * (value - fromValue) / (1.0 - fromValue) : value;
    reached = std::clamp(share, reached, 1.0);
    report();
}

void Run::continueFrom(double value) {
    fromValue = value;
    fromShare = std::max(reached, value);
}

void Run::poll() {
    if (bWorker) {
        const std::lock_guard lock(mutex);
        if (bCancelled) throw CancelledError("cancelled");
        return;
    }
    constexpr std::chrono::milliseconds pause{50};
    if (std::chrono::steady_clock::now() - lastReport <= pause) return;
    lastReport = std::chrono::steady_clock::now();
    if (beforeReport) beforeReport();
    report();
}

void Run::report() {
    lastReport = std::chrono::steady_clock::now();
    if (!context.progress) return;
    if (context.progress({stageWords(stageTag), stageTag, reached})) return;
    const std::lock_guard lock(mutex);
    bCancelled = true;
    throw CancelledError("cancelled");
}

Run* getRun() {
    return pCurrent;
}

RunScope::RunScope(Run& run) : pBefore(pCurrent) {
    auto pRoot = std::make_unique<Progress>("empty", 1.0, nullptr);
    pRoot->pSubscriber = &run;
    pRootBefore = exchangeProgressRoot(pRoot.release());
    pCurrent = &run;
}

RunScope::~RunScope() {
    pCurrent = pBefore;
    delete exchangeProgressRoot(pRootBefore);
}

WorkerScope::WorkerScope(Run* pRun) : pBefore(std::exchange(pCurrent, pRun)), bBefore(std::exchange(bWorker, true)) {}

WorkerScope::~WorkerScope() {
    pCurrent = pBefore;
    bWorker = bBefore;
}

}  // namespace QUOR_ZEF
