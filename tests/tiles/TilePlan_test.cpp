#include "tiles/TilePlan.h"

#include <gtest/gtest.h>

#include <cmath>

#include "bytes/LoadError.h"
#include "tiles/somePlan.h"

using namespace QUOR_ZEF;
using zef_test::somePlan;

TEST(TilePlan, readsBackExactly) {
    const TilePlan plan = somePlan();
    const TilePlan same = planOf(textOf(plan));
    EXPECT_EQ(textOf(same), textOf(plan));
    EXPECT_EQ(digestOf(same), digestOf(plan));
    TileOptions given = plan.options;
    given.reconstruction.viewpoint.reset();
    EXPECT_EQ(differenceOf(same, plan.inputs, given), "");
    EXPECT_EQ(same.options.reconstruction.factor, 1.0 / 3.0);
    EXPECT_EQ(same.options.reconstruction.refitRadius, 4.9406564584124654e-324);
    EXPECT_EQ(*same.options.reconstruction.viewpoint, *plan.options.reconstruction.viewpoint);
    EXPECT_TRUE(std::signbit(same.options.reconstruction.viewpoint->px));
    EXPECT_EQ((*same.options.reading.box)[0], (*plan.options.reading.box)[0]);
    EXPECT_EQ((*same.options.reading.box)[1], (*plan.options.reading.box)[1]);
    EXPECT_EQ(same.options.memory, plan.options.memory);
    EXPECT_EQ(same.grid.low, plan.grid.low);
    EXPECT_EQ(same.grid.blockGridSide, plan.grid.blockGridSide);
    EXPECT_EQ(same.boxes[1].low[0], 5u);
    EXPECT_EQ(same.numPoints, plan.numPoints);
    EXPECT_EQ(same.inputs, plan.inputs);
}

// Nothing that a field holds may be lost on the way, or two jobs would pass for one.
TEST(TilePlan, eachFieldCountsForTheDigest) {
    const TilePlan plan = somePlan();
    const auto changes = [&](const auto& change) {
        TilePlan other = plan;
        change(other);
        return digestOf(other) != digestOf(plan) && digestOf(planOf(textOf(other))) == digestOf(other);
    };
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reconstruction.spacing = std::nextafter(0.1, 1.0); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reconstruction.density = Density::AUTO; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reconstruction.density = Density::EVEN; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reconstruction.viewpoint.reset(); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reading.box.reset(); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reading.scan.reset(); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.options.reading.keepClasses.clear(); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.grid.blockLevel = 6; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.grid.stepValues.pop_back(); }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.boxes[0].high[0] = p.boxes[1].low[0] = 4; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.numStrays = 2; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.high.pz = 0.25; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.viewpointTold = false; }));
    EXPECT_TRUE(changes([](TilePlan& p) { p.inputs.pop_back(); }));
}

TEST(TilePlan, tellsWhatAnotherJobHasOtherwise) {
    TilePlan plan = somePlan();
    TileOptions options = plan.options;
    options.reconstruction.viewpoint.reset();
    EXPECT_EQ(differenceOf(plan, plan.inputs, options), "");
    plan.viewpointTold = false;
    EXPECT_NE(differenceOf(plan, plan.inputs, options), "");
    options = plan.options;
    options.reconstruction.growSteps = 8;
    EXPECT_EQ(differenceOf(plan, plan.inputs, options), "growSteps is 7 there, not 8");
    options = plan.options;
    options.reading.box.reset();
    EXPECT_NE(differenceOf(plan, plan.inputs, options).find("reading.box"), std::string::npos);
    EXPECT_NE(differenceOf(plan, {plan.inputs[0]}, plan.options).find("\"c\".ply there, not nothing"),
              std::string::npos);
    EXPECT_NE(differenceOf(plan, {plan.inputs[1], plan.inputs[0]}, plan.options).find("a b.las"), std::string::npos);
}

// Whatever a disk makes of the text, it is refused or a plan whose counts can be relied on.
TEST(TilePlan, refusesDamagedText) {
    const std::string text = textOf(somePlan());
    for (std::size_t end = 0; end + 2 < text.size(); ++end) EXPECT_THROW(planOf(text.substr(0, end)), LoadError) << end;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string changed = text;
        changed[i] = changed[i] == '9' ? '-' : '9';
        try {
            const TilePlan plan = planOf(changed);
            ASSERT_EQ(plan.boxes.size(), plan.numPoints.size());
            for (const TileBox& box : plan.boxes)
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    ASSERT_LT(box.low[axis], box.high[axis]);
                    ASSERT_LE(box.high[axis], std::uint64_t{1} << plan.grid.numLevels);
                }
        } catch (const LoadError&) {
        }
    }
    EXPECT_THROW(planOf("{}"), LoadError);
    EXPECT_THROW(planOf("[1]"), LoadError);
}
