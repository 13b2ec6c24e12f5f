#include "frame/Progress.h"
#include "frame/Run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;

namespace {

struct Recorder : ProgressBase {
    std::vector<std::string> vNames;
    std::vector<double> vValues;
    void update(const std::string& name, double value) override {
        vNames.push_back(name);
        vValues.push_back(value);
    }
};

struct Canceller : ProgressBase {
    void update(const std::string&, double value) override {
        if (value >= 0.25) throw std::runtime_error("cancelled");
    }
};

void tickTimes(Progress* pProgress, int numTicks) {
    for (int i = 0; i < numTicks; ++i) pProgress->tick();
}

void runTwoStages(Progress* pRoot) {
    planProgress("Run", {{"first", 1.0}, {"second", 3.0}});
    for (const char* stage : {"first", "second"}) tickTimes(pRoot->getChildProgressSetTodo(stage, 1000), 1000);
    pRoot->finish(true);
    pRoot->reset();
}

}  // namespace

class ProgressTree : public testing::Test {
protected:
    Progress* pRoot = getProgress();
    void SetUp() override { TearDown(); }
    void TearDown() override {
        unsubscribe();
        pRoot->reset();
    }
};

TEST_F(ProgressTree, stepOfAStageIsAboutOnePartIn200OfTheWholeAndBelowItsTicks) {
    planProgress("Reconstruct", {{"light", 3.0}, {"heavy", 345.0}, {"none", 0.0}});
    EXPECT_EQ(pRoot->getChildProgressSetTodo("light", 1000)->notifyEvery, 580u);
    EXPECT_EQ(pRoot->getChildProgressSetTodo("heavy", 1000)->notifyEvery, 6u);
    EXPECT_EQ(pRoot->getChildProgressSetTodo("none", 1000)->notifyEvery, 5u);
    EXPECT_EQ(pRoot->getChildProgressSetTodo("none", 199)->notifyEvery, 1u);
    planProgress("Run", {{"tiny", 1.0}, {"rest", 999.0}});
    EXPECT_EQ(pRoot->getChildProgressSetTodo("tiny", 1000)->notifyEvery, 750u);
    const uint64 most = ~uint64{0};
    EXPECT_LT(pRoot->getChildProgressSetTodo("tiny", most)->notifyEvery, most);
}

TEST_F(ProgressTree, reenteredStageKeepsItsValue) {
    planProgress("Run", {{"stage", 1.0}});
    Progress* pStage = pRoot->getChildProgressSetTodo("stage", 0);
    EXPECT_EQ(pStage->getValue(), 1.0) << "nothing to do is done";
    pRoot->getChildProgressSetTodo("stage", 20);
    tickTimes(pStage, 10);
    EXPECT_EQ(pRoot->getChildProgressSetTodo("stage", 10), pStage);
    EXPECT_EQ(pStage->todo, 20u);
    EXPECT_EQ(pStage->getValue(), 0.5);
    pStage->finish(false);
    pRoot->getChildProgressSetTodo("stage", 7);
    EXPECT_EQ(pStage->todo, 27u);
    EXPECT_EQ(pStage->getValue(), 1.0);
}

TEST_F(ProgressTree, rootIsTheWeightedMeanOfItsStages) {
    planProgress("Run", {{"a", 1.0}, {"b", 3.0}});
    Progress* pStage = pRoot->getChildProgressSetTodo("b", 4);
    tickTimes(pStage, 2);
    EXPECT_DOUBLE_EQ(pRoot->getValue(), 0.375);
    tickTimes(pStage, 9);
    EXPECT_DOUBLE_EQ(pRoot->getValue(), 0.75);
    planProgress("Run", {{"a", 0.0}, {"b", 0.0}});
    EXPECT_EQ(pRoot->getValue(), 1.0);
}

TEST_F(ProgressTree, subscriberGetsRisingValuesFromEveryRunUpToOne) {
    Recorder recorder;
    subscribe(&recorder);
    subscribe(nullptr);
    for (int run = 0; run < 2; ++run) {
        recorder = {};
        runTwoStages(pRoot);
        ASSERT_GT(recorder.vValues.size(), 150u);
        EXPECT_LT(recorder.vValues.size(), 450u);
        EXPECT_TRUE(std::is_sorted(recorder.vValues.begin(), recorder.vValues.end()));
        EXPECT_LT(recorder.vValues.front(), 0.01);
        EXPECT_EQ(recorder.vValues.back(), 1.0);
        EXPECT_EQ(recorder.vNames, std::vector<std::string>(recorder.vNames.size(), "Run"));
    }
    EXPECT_EQ(pRoot->pSubscriber, &recorder);
    EXPECT_EQ(pRoot->name, "empty");
    EXPECT_EQ(pRoot->lastValue, -1.0);
}

TEST_F(ProgressTree, ticksTellAtTheStepAndAtTheEndOnly) {
    Recorder recorder;
    subscribe(&recorder);
    planProgress("Run", {{"stage", 1.0}, {"other", 1.0}});
    Progress* pStage = pRoot->getChildProgressSetTodo("stage", 1001);  // every 11 ticks
    tickTimes(pStage, 10);
    EXPECT_EQ(recorder.vValues.size(), 0u);
    tickTimes(pStage, 1);
    EXPECT_EQ(recorder.vValues.size(), 1u);
    tickTimes(pStage, 990);
    EXPECT_EQ(recorder.vValues.back(), 0.5);
    const std::size_t numBefore = recorder.vValues.size();
    tickTimes(pStage, 500);
    EXPECT_EQ(recorder.vValues.size(), numBefore);
}

TEST_F(ProgressTree, unplannedStagesAndNamelessRootsFail) {
    EXPECT_TRUE(failsWith("this->name!=\"empty\"", [&] { pRoot->createChild("stage", 1.0); }));
    planProgress("Run", {{"stage", 1.0}});
    EXPECT_TRUE(failsWith("q_it!=mNameKids.end()", [&] { pRoot->getChildProgressSetTodo("other", 1); }));
}

TEST_F(ProgressTree, throwingFromUpdateCancelsAndTheThreadRunsAgain) {
    Canceller canceller;
    subscribe(&canceller);
    EXPECT_THROW(runTwoStages(pRoot), std::runtime_error);
    EXPECT_EQ(pRoot->name, "Run");
    // Another thread could lock every node: the exception released them all.
    std::thread([&] {
        EXPECT_TRUE(pRoot->mutex.try_lock());
        pRoot->mutex.unlock();
        std::recursive_mutex& stageMutex = pRoot->mNameKids.at("first")->mutex;
        EXPECT_TRUE(stageMutex.try_lock());
        stageMutex.unlock();
    }).join();
    Recorder recorder;
    subscribe(&recorder);
    runTwoStages(pRoot);
    EXPECT_LT(recorder.vValues.front(), 0.01);
    EXPECT_EQ(recorder.vValues.back(), 1.0);
}

TEST_F(ProgressTree, operationPlansAnewUnlessItRunsInsideAPlanOfAnother) {
    EXPECT_TRUE(ensureProgressPlan("Flip", {{"score", 1.0}, {"loop", 1.0}}));
    EXPECT_EQ(pRoot->name, "Flip");
    // Left behind by an exception: its own plan is not a run around it.
    pRoot->getChildProgressSetTodo("score", 10)->finish(true);
    EXPECT_TRUE(ensureProgressPlan("Flip", {{"score", 1.0}, {"loop", 1.0}}));
    EXPECT_EQ(pRoot->getValue(), 0.0);
    planProgress("Density Estimation", {{"cells", 1.0}, {"score", 1.0}});
    EXPECT_TRUE(ensureProgressPlan("Flip", {{"score", 1.0}, {"loop", 1.0}}));
    planProgress("Reconstruct", {{"cells", 1.0}, {"score", 1.0}, {"loop", 1.0}});
    EXPECT_FALSE(ensureProgressPlan("Flip", {{"score", 1.0}, {"loop", 1.0}}));
    EXPECT_EQ(pRoot->name, "Reconstruct");
}

TEST_F(ProgressTree, everyThreadHasARootOfItsOwn) {
    Recorder mine, theirs;
    subscribe(&mine);
    Progress* pTheirs = nullptr;
    std::thread other([&] {
        subscribe(&theirs);
        pTheirs = getProgress();
        runTwoStages(pTheirs);
    });
    runTwoStages(pRoot);
    other.join();
    EXPECT_NE(pTheirs, pRoot);
    EXPECT_EQ(mine.vValues, theirs.vValues);
}

// Systems give the ids of ended threads to new ones.
TEST_F(ProgressTree, newThreadNeverMeetsTheSubscriberOfAnEndedOne) {
    for (int i = 0; i < 20; ++i) {
        std::thread([] {
            EXPECT_EQ(getProgress()->pSubscriber, nullptr);
            EXPECT_EQ(getProgress()->name, "empty");
            Recorder recorder;
            subscribe(&recorder);
            planProgress("Run", {{"stage", 1.0}});
        }).join();
    }
}

TEST(Progress, newWeightsKeepWhatWasToldAndShareOutTheRest) {
    std::vector<double> vShares;
    const Context context = {.progress = [&](const ProgressStep& step) {
        vShares.push_back(step.share);
        return true;
    }};
    QUOR_ZEF::Run run(context);
    const RunScope scope(run);
    planProgress("Run", {{"a", 1.0}, {"b", 1.0}, {"c", 2.0}});
    getProgress()->getChildProgressSetTodo("a", 1)->finish(true);
    reweighStages({{"a", 7.0}, {"c", 8.0}});  // a is through
    EXPECT_DOUBLE_EQ(vShares.back(), 0.25);
    getProgress()->getChildProgressSetTodo("b", 1)->finish(true);
    EXPECT_DOUBLE_EQ(vShares.back(), 0.25 + 0.75 / 9.0);
    getProgress()->getChildProgressSetTodo("c", 1)->finish(true);
    EXPECT_DOUBLE_EQ(vShares.back(), 1.0);
}
