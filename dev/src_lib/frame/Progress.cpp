#include "frame/Progress.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

const char* const unusedName = "empty";
constexpr uint64 ticksPerLook = 4096;

int64 monotonicNanoseconds() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count();
}

double secondsBetween(int64 from, int64 to) {
    return 1e-9 * static_cast<double>(to - from);
}

// ticks * share, truncated. The largest counts round up beyond their type.
uint64 partOf(uint64 ticks, double share) {
    return share >= 1.0 ? ticks : static_cast<uint64>(static_cast<double>(ticks) * share);
}

}  // namespace

ProgressBase::~ProgressBase() = default;

Progress::Progress(std::string nodeName, double nodeWeight, Progress* pParentNode)
    : name(std::move(nodeName)), weight(nodeWeight), pParent(pParentNode), startTime(monotonicNanoseconds()) {}

Progress::~Progress() {
    for (auto& [childName, pChild] : mNameKids) delete pChild;
}

void Progress::createChild(const std::string& childName, double childWeight) {
    const std::lock_guard lock(mutex);
    ASSEX(this->name!="empty");
    auto pChild = std::make_unique<Progress>(childName, childWeight, this);
    Progress*& pSlot = mNameKids[childName];
    delete pSlot;
    pSlot = pChild.release();
}

Progress* Progress::getChildProgressSetTodo(const std::string& childName, uint64 childTodo) {
    const std::lock_guard lock(mutex);
    if (todo == 0) todo = 1;
    const auto q_it = mNameKids.find(childName);
    ASSEX(q_it!=mNameKids.end());
    Progress* pChild = q_it->second;
    const std::lock_guard lockChild(pChild->mutex);
    if (Run* const pRun = getRun()) pRun->enterStage(childName);
    if (pChild->done == 0) {
        pChild->setTodo(childTodo);
        return pChild;
    }
    const double value = pChild->getValue();
    const uint64 total = childTodo + pChild->done;
    pChild->done = partOf(total, value);
    pChild->setTodo(total);
    return pChild;
}

void Progress::setTodo(uint64 newTodo) {
    const std::lock_guard lock(mutex);
    todo = newTodo;
    if (done == 0) notifyEvery = notificationStep();
}

// The step that moves the whole by about one part in 200.
uint64 Progress::notificationStep() const {
    if (!pParent || !(weight > 0.0)) return std::max<uint64>(todo / 200, 1);
    double weightSum = 0.0;
    for (const auto& [siblingName, pSibling] : pParent->mNameKids) weightSum += pSibling->weight;
    if (!(weightSum > 0.0)) return std::max<uint64>(todo / 200, 1);
    const double ticks = static_cast<double>(todo);
    const double step = std::ceil((ticks / 200.0) * (weightSum / weight));
    if (step == ticks) return std::max<uint64>(todo, 1);
    return std::max<uint64>(static_cast<uint64>(step < ticks ? step : std::ceil(ticks * 0.75)), 1);
}

double Progress::getValue() const {
    const std::lock_guard lock(mutex);
    if (todo == 0) return 1.0;
    if (mNameKids.empty()) return std::min(static_cast<double>(done) / static_cast<double>(todo), 1.0);
    double sum = 0.0;
    double weightSum = 0.0;
    for (const auto& [childName, pChild] : mNameKids) {
        sum += pChild->getValue() * pChild->weight;
        weightSum += pChild->weight;
    }
    return weightSum == 0.0 ? 1.0 : sum / weightSum;
}

double Progress::getCostDone() const {
    const std::lock_guard lock(mutex);
    double sum = 0.0;
    for (const auto& [childName, pChild] : mNameKids) sum += pChild->getValue() * pChild->weight;
    return sum;
}

void Progress::setCost(double cost, uint64 numDone, uint64 numTodo) {
    {
        const std::lock_guard lock(mutex);
        weight = cost;
        done = numDone;
        todo = numTodo;
    }
    if (Run* const pRun = getRun()) pRun->continueFrom(pParent->getValue());
    notify("");
}

void Progress::tick(uint64 num) {
    const bool bChanges = done < todo;
    if (bChanges) done += std::min(num, todo - done);
    sinceNotify += num;
    // A finished child that is ticked on has nothing new to tell, and only asks now and
    // then whether to go on.
    if (!bChanges && sinceNotify < std::max(notifyEvery, ticksPerLook)) return;
    if (sinceNotify < notifyEvery && done != todo) return;
    {
        const std::lock_guard lock(mutex);
        sinceNotify = 0;
    }
    notify("");
}

// Locks are only taken downwards, so a node holds none of its own while it
// tells its parent.
void Progress::notify(const std::string& text) {
    if (pParent) {
        pParent->notify(text);
        return;
    }
    const std::lock_guard lock(mutex);
    const double value = getValue();
    // A call may be cancelled while nothing changes that it could tell.
    if (Run* const pRun = getRun(); pRun && value == lastValue) pRun->poll();
    if (value == lastValue) return;
    lastValue = value;
    if (pSubscriber) pSubscriber->update(std::string(name), value);
}

void Progress::finish(bool bNotify) {
    {
        const std::lock_guard lock(mutex);
        if (mNameKids.empty()) done = todo;
        for (auto& [childName, pChild] : mNameKids) pChild->finish(false);
    }
    if (bNotify) notify("");
}

void Progress::reset() {
    const std::lock_guard lock(mutex);
    for (auto& [childName, pChild] : mNameKids) {
        pChild->name = "invalid";
        delete pChild;
    }
    mNameKids.clear();
    name = unusedName;
    todo = 1;
    done = 0;
    notifyEvery = 1;
    sinceNotify = 0;
    lastValue = -1.0;
}

namespace {

thread_local Progress* pGivenRoot = nullptr;

// The id of an ended thread may come back: its root then begins anew, without
// the subscriber, which may be gone.
Progress* rootOfNewThread() {
    // Never destroyed: a thread may still report while the process ends.
    static auto* pmRoots = new std::map<std::thread::id, Progress*>;
    static std::mutex rootsMutex;
    const std::lock_guard lock(rootsMutex);
    Progress*& pRoot = (*pmRoots)[std::this_thread::get_id()];
    if (!pRoot) {
        pRoot = new Progress(unusedName, 1.0, nullptr);
    } else {
        const std::lock_guard lockRoot(pRoot->mutex);
        pRoot->reset();
        pRoot->pSubscriber = nullptr;
    }
    return pRoot;
}

}  // namespace

Progress* getProgress() {
    if (pGivenRoot) return pGivenRoot;
    thread_local Progress* const pRoot = rootOfNewThread();
    return pRoot;
}

Progress* exchangeProgressRoot(Progress* pRoot) {
    return std::exchange(pGivenRoot, pRoot);
}

void subscribe(ProgressBase* pSubscriber) {
    Progress* pProgress = getProgress();
    ASSEX(pProgress!=0);
    if (!pSubscriber) return;
    const std::lock_guard lock(pProgress->mutex);
    pProgress->pSubscriber = pSubscriber;
}

void unsubscribe() {
    Progress* pProgress = getProgress();
    const std::lock_guard lock(pProgress->mutex);
    pProgress->pSubscriber = nullptr;
}

void planProgress(const std::string& name, const ProgressPlan& plan) {
    Progress* pRoot = getProgress();
    const std::lock_guard lock(pRoot->mutex);
    pRoot->reset();
    pRoot->name = name;
    for (const auto& [childName, weight] : plan) pRoot->createChild(childName, weight);
}

bool ensureProgressPlan(const std::string& name, const ProgressPlan& plan) {
    const Progress* pRoot = getProgress();
    const auto isPlanned = [pRoot](const auto& child) { return pRoot->mNameKids.count(child.first) > 0; };
    if (pRoot->name != name && std::all_of(plan.begin(), plan.end(), isPlanned)) return false;
    planProgress(name, plan);
    return true;
}

void reweighStages(const ProgressPlan& costs) {
    Run* const pRun = getRun();
    if (!pRun) return;
    Progress* const pRoot = getProgress();
    const std::lock_guard lock(pRoot->mutex);
    for (const auto& [childName, cost] : costs) {
        const auto q_it = pRoot->mNameKids.find(childName);
        if (q_it != pRoot->mNameKids.end() && q_it->second->getValue() < 1.0) q_it->second->weight = cost;
    }
    pRun->continueFrom(pRoot->getValue());
}

uint64 expectedTicks(uint64 real, uint64 classic) {
    return std::max<uint64>(getRun() ? real : classic, 1);
}

OptionalStage::OptionalStage(const std::string& name, uint64 todo, double givenGrowth)
    : growth(givenGrowth),
      ticksLeft(std::max<uint64>(todo, 1)),
      ticksInAll(ticksLeft),
      begin(monotonicNanoseconds()),
      last(begin) {
    Progress* const pRoot = getProgress();
    if (pRoot->mNameKids.count(name) == 0) return;
    pProgress = pRoot->getChildProgressSetTodo(name, ticksLeft);
    const double seconds = secondsBetween(pRoot->startTime, begin);
    if (getRun() && seconds > 0.0) costOfSecond = pRoot->getCostDone() / seconds;
    planned = pProgress->weight;
}

void OptionalStage::tickByTime(uint64 num) {
    constexpr double trustGain = 4.0, steps = 1e6;
    if (!pProgress) return;
    const int64 now = monotonicNanoseconds();
    const int64 before = std::exchange(last, now);
    ticksLeft -= std::min(num, ticksLeft);
    if (!(costOfSecond > 0.0)) return tick(num);
    if (num == 0) return;
    const double ofThis = secondsBetween(before, now) / static_cast<double>(num);
    secondsOfTick = secondsOfTick > 0.0 ? (secondsOfTick + ofThis) / 2.0 : ofThis;
    const double spent = secondsBetween(begin, now), left = static_cast<double>(ticksLeft);
    const double shareLeft = left / static_cast<double>(ticksInAll);
    const double byTime = secondsOfTick * left * (1.0 + growth * shareLeft),
                 byPlan = planned / costOfSecond * shareLeft;
    const double trust = std::min(trustGain * (1.0 - shareLeft), 1.0);
    const double all = spent + trust * byTime + (1.0 - trust) * byPlan;
    pProgress->setCost(costOfSecond * all, static_cast<uint64>(steps * std::min(spent / all, 1.0)),
                       static_cast<uint64>(steps));
}

SharedStage::SharedStage(const std::string& name, uint64 todo, double growth) : stage(name, todo, growth) {
    if (Run* const pRun = getRun()) pRun->beforeReport = [this] { tickPending(); };
}

SharedStage::~SharedStage() {
    if (Run* const pRun = getRun()) pRun->beforeReport = nullptr;
}

void SharedStage::tickByTime(bool bOwnThread, uint64 num) {
    {
        const std::lock_guard lock(mutex);
        numPending += num;
        if (!bOwnThread) return;
        num = std::exchange(numPending, 0);
    }
    stage.tickByTime(num);
}

void SharedStage::tickPending() {
    uint64 num = 0;
    {
        const std::lock_guard lock(mutex);
        num = std::exchange(numPending, 0);
    }
    if (num > 0) stage.tickByTime(num);
}

void RowStage::look() {
    stage.tick(std::exchange(pending, 0));
    pollRun(0);
}

}  // namespace QUOR_ZEF
