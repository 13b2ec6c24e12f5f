#pragma once

#include <limits>

#include "zef/tiles.h"

namespace zef_test {

// A plan with a value of its own in each field that has to be kept, among them numbers with all their digits.
inline QUOR_ZEF::TilePlan somePlan() {
    using namespace QUOR_ZEF;
    TilePlan plan;
    plan.inputs = {"/scans/a b.las", "/scans/\"c\".ply"};
    ReconstructOptions& made = plan.options.reconstruction;
    made.spacing = 0.1;
    made.factor = 1.0 / 3.0;
    made.smooth = true;
    made.growSteps = 7;
    made.keepBorders = false;
    made.keepOutliers = true;
    made.density = Density::UNEVEN;
    made.levels = 9;
    made.mend = false;
    made.minHandle = 1e-17;
    made.thinWalls = false;
    made.refit = false;
    made.refitRadius = 4.9406564584124654e-324;
    made.untangle = false;
    made.minPiece = 4'000'000'000u;
    made.viewpoint = Point3(-0.0, 0.1 + 0.2, 1.7976931348623157e308);
    made.measureCoverage = true;
    plan.options.reading.keepClasses = {2, 255};
    plan.options.reading.dropClasses = {7};
    const double infinity = std::numeric_limits<double>::infinity();
    plan.options.reading.box = {Point3(-infinity, 1e-300, 0.0), Point3(infinity, 3.0, 123456789.123456789)};
    plan.options.reading.scan = 3;
    plan.options.reading.columns = "x,y,z";
    plan.options.reading.partial = true;
    plan.options.memory = ~std::uint64_t{0};
    plan.options.halo = 33;
    plan.options.cuts = {2, 1, 1};
    plan.grid = {Point3(433000.1, 4.9e6 + 1.0 / 3.0, -12.7),
                 0.013,
                 3,
                 0.01,
                 true,
                 4,
                 true,
                 Point3(1.1, 2.2, 3.3),
                 17.3,
                 5,
                 0.37,
                 2,
                 {-0.1, 1.0 / 3.0}};
    plan.boxes = {{{0, 0, 0}, {5, 8, 8}}, {{5, 0, 0}, {8, 8, 8}}};
    plan.numPoints = {1'000'000'000'001, 0};
    plan.low = Point3(433000.2, 4.9e6 + 2.0 / 3.0, -1.5);
    plan.high = Point3(433001.2, 4.9e6 + 1.1, 0.1);
    plan.numAllPoints = 1'000'000'000'002;
    plan.numStrays = 1;
    plan.viewpointTold = true;
    return plan;
}

}  // namespace zef_test
