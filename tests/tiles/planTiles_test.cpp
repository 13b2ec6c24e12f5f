#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "cloud/Cloud.h"
#include "support/drawnCells.h"
#include "support/tempFolder.h"
#include "tiles/TilePlan.h"
#include "tiles/TilePoints.h"
#include "tiles/scanSample.h"
#include "zef/tiles.h"

using namespace QUOR_ZEF;
using zef_test::Draws;
using zef_test::TempFolder;
namespace fs = std::filesystem;

namespace {

// Hills, and a stray.
std::vector<Point3> hills(int num) {
    Draws draws(21);
    std::vector<Point3> v;
    for (int i = 0; i < num; ++i) {
        const double x = draws.between(0.0, 20.0);
        const double y = draws.between(0.0, 12.0);
        v.emplace_back(300'000.0 + x, 5e6 + y, std::sin(0.7 * x) + std::cos(0.5 * y));
        if (i % 2 == 0) v.back().setColor(static_cast<std::uint8_t>(i), 3, 4, 255);
    }
    v[17].set(9e6, 9e6, 9e6);
    return v;
}

struct ScanJob {
    TempFolder folder;
    std::vector<Point3> vPoints = hills(20'000);
    std::vector<fs::path> inputs;
    fs::path job = folder.path / "job";
    TileOptions options;

    ScanJob() {
        const std::size_t half = vPoints.size() / 2;
        for (const auto& part : {std::span(vPoints).first(half), std::span(vPoints).subspan(half)}) {
            inputs.push_back(folder.path / ("part" + std::to_string(inputs.size()) + ".ply"));
            WriteOptions exact;
            exact.precision = Precision::DOUBLE;
            write(inputs.back(), part, exact);
        }
        vPoints = readPoints(inputs, {}).points;
        options.cuts = {2, 2, 1};
        options.halo = 20;
    }
    TilePlan plan() const { return planTiles(inputs, job, options); }
    std::string bytesOf(const fs::path& file) const { return folder.get(fs::relative(file, folder.path).string()); }
};

void expectSame(const Grid& a, const Grid& b) {
    EXPECT_EQ(a.low, b.low);
    EXPECT_EQ(a.spacing, b.spacing);
    EXPECT_EQ(a.numLevels, b.numLevels);
    EXPECT_EQ(a.measuredSpacing, b.measuredSpacing);
    EXPECT_EQ(a.uneven, b.uneven);
    EXPECT_EQ(a.smooth, b.smooth);
    EXPECT_EQ(a.blockLow, b.blockLow);
    EXPECT_EQ(a.blockGridSide, b.blockGridSide);
    EXPECT_EQ(a.blockLevel, b.blockLevel);
    EXPECT_EQ(a.noise, b.noise);
    EXPECT_EQ(a.stepAxis, b.stepAxis);
    EXPECT_EQ(a.stepValues, b.stepValues);
}

template <class Fn>
std::string argumentFault(const Fn& fn) {
    try {
        fn();
    } catch (const ArgumentError& error) {
        return error.what();
    }
    return "";
}

// In the order of the inputs.
std::vector<Point3> pointsNear(const ScanJob& scan, const TilePlan& plan, std::size_t tile) {
    const Calc calc = calcOf(plan.grid);
    const auto halo = static_cast<uint64>(plan.options.halo);
    std::vector<Point3> v;
    for (const Point3& p : scan.vPoints) {
        if (p.px > 1e6) continue;
        const auto [x, y, z] = unpackRCD(calc.getRCD(p));
        const std::array<uint64, 3> cell = {x, y, z};
        bool bNear = true;
        for (std::size_t axis = 0; axis < 3; ++axis)
            bNear = bNear && cell[axis] + halo >= plan.boxes[tile].low[axis] &&
                    cell[axis] < plan.boxes[tile].high[axis] + halo;
        if (bNear) v.push_back(p);
    }
    return v;
}

bool sameColor(const Point3& a, const Point3& b) {
    return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a && a.bHasColor == b.bHasColor;
}

}  // namespace

TEST(planTiles, takesTheGridOfAllPoints) {
    const ScanJob scan;
    const TilePlan plan = scan.plan();
    expectSame(plan.grid, measureGrid(scan.vPoints, scan.options.reconstruction));
    EXPECT_EQ(plan.numAllPoints, 20'000u);
    EXPECT_EQ(plan.numStrays, 1u);
    ASSERT_EQ(plan.numPoints.size(), 4u);
    EXPECT_EQ(plan.numPoints[0] + plan.numPoints[1] + plan.numPoints[2] + plan.numPoints[3], 19'999u);
    EXPECT_EQ(textOf(readTilePlan(scan.job)), textOf(plan));
}

// What is laid over the box of a large scan is the grid that all of its points would get.
TEST(planTiles, laysTheGridAsItIsLaidOverAllPoints) {
    ScanJob scan;
    scan.vPoints.erase(scan.vPoints.begin() + 17);
    const Grid grid = measureGrid(scan.vPoints, {});
    Point3 low = scan.vPoints.front(), high = low;
    for (const Point3& p : scan.vPoints) {
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
    expectSame(layGrid(grid, low, high), grid);
    Grid ofPart = grid;
    ofPart.blockGridSide *= 0.25;
    ofPart.blockLevel += 2;
    expectSame(layGrid(ofPart, low, high), grid);
    EXPECT_THROW(layGrid(grid, low, Point3(1e9, 0.0, 0.0)), ArgumentError);
}

TEST(planTiles, theSameAgainDoesNothingAndAnotherJobIsRefused) {
    ScanJob scan;
    const TilePlan plan = scan.plan();
    const auto written = fs::last_write_time(scan.job / "job.json");
    EXPECT_EQ(textOf(scan.plan()), textOf(plan));
    EXPECT_EQ(fs::last_write_time(scan.job / "job.json"), written);
    TileOptions other = scan.options;
    other.reconstruction.factor = 2.0;
    EXPECT_NE(argumentFault([&] { planTiles(scan.inputs, scan.job, other); }).find("factor is 1.3 there, not 2"),
              std::string::npos);
    EXPECT_NE(argumentFault([&] { planTiles({scan.inputs[0]}, scan.job, scan.options); }).find("inputs are others"),
              std::string::npos);
}

TEST(planTiles, refusesWhatTilesDoNotHave) {
    const ScanJob scan;
    const auto faultOf = [&](const auto& change) {
        TileOptions options = scan.options;
        change(options);
        const std::string fault = argumentFault([&] { planTiles(scan.inputs, scan.job, options); });
        return fault.substr(0, fault.find_first_of(": "));
    };
    const std::vector<Vector3> vNormals(1);
    EXPECT_EQ(faultOf([](TileOptions& o) { o.reconstruction.closed = true; }), "closed");
    EXPECT_EQ(faultOf([&](TileOptions& o) { o.reconstruction.normals = vNormals; }), "normals");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.reconstruction.grid = Grid(); }), "grid");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.reading.grid = 1.0; }), "reading.grid");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.reading.every = 2; }), "reading.every");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.cuts = {2, 0, 1}; }), "cuts");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.cuts = {1, 1, 100000}; }), "cuts");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.halo = -1; }), "halo");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.memory = 1000; }), "memory");
    EXPECT_EQ(faultOf([](TileOptions& o) { o.reconstruction.factor = -1.0; }), "factor");
    EXPECT_THROW(planTiles({}, scan.job, scan.options), ArgumentError);
    EXPECT_THROW(planTiles({"/nowhere.ply"}, scan.job, scan.options), FileError);
    EXPECT_FALSE(fs::exists(scan.job / "job.json"));
}

TEST(splitTiles, eachTileGetsThePointsOfItsBoxAndHalo) {
    const ScanJob scan;
    const TilePlan plan = scan.plan();
    EXPECT_FALSE(readTileState(scan.job).split);
    splitTiles(scan.job);
    EXPECT_TRUE(readTileState(scan.job).split);
    uint64 num = 0;
    for (std::uint32_t tile = 0; tile < 4; ++tile) {
        const std::vector<Point3> vExpected = pointsNear(scan, plan, tile);
        const std::vector<Point3> vFound = readTilePoints(scan.job, digestOf(plan), tile);
        ASSERT_GT(vFound.size(), 3000u);
        ASSERT_EQ(vFound, vExpected);
        EXPECT_TRUE(std::ranges::equal(vFound, vExpected, sameColor));
        num += vFound.size();
    }
    EXPECT_EQ(findRecord(scan.job, digestOf(plan), {StepKind::SPLIT, 0})->numPoints, num);
}

TEST(splitTiles, writesAgainWhatIsMissing) {
    const ScanJob scan;
    scan.plan();
    splitTiles(scan.job);
    const fs::path gone = scan.job / "points/0002.points", kept = scan.job / "points/0001.points";
    const std::string bytes = scan.bytesOf(gone);
    const auto written = fs::last_write_time(kept);
    fs::remove(gone);
    EXPECT_FALSE(readTileState(scan.job).split);
    splitTiles(scan.job);
    EXPECT_TRUE(readTileState(scan.job).split);
    EXPECT_EQ(scan.bytesOf(gone), bytes);
    EXPECT_EQ(fs::last_write_time(kept), written);
}

TEST(splitTiles, changedInputsAreTold) {
    const ScanJob scan;
    scan.plan();
    write(scan.inputs[0], std::span(scan.vPoints).first(5000));
    try {
        splitTiles(scan.job);
        ADD_FAILURE() << "split all the same";
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("15000 points now, and were 20000"), std::string::npos);
    }
    EXPECT_TRUE(fs::is_empty(scan.job / "points"));
    EXPECT_FALSE(readTileState(scan.job).split);
}
