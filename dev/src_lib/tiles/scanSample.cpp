#include "tiles/scanSample.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "outliers/strays.h"
#include "tiles/inputPoints.h"

namespace QUOR_ZEF {

namespace {

using Place = BlockCounts::Place;
using Block = BlockCounts::Block;

struct PointBox {
    std::array<double, 3> low, high;

    PointBox() {
        low.fill(std::numeric_limits<double>::infinity());
        high.fill(-std::numeric_limits<double>::infinity());
    }
    void add(const Point3& p) {
        const std::array<double, 3> coords = {p.px, p.py, p.pz};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], coords[axis]);
            high[axis] = std::max(high[axis], coords[axis]);
        }
    }
    double side() const { return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]}); }
};

// Places that ascend, of strays among the blocks.
std::vector<Place> findStrayBlocks(const BlockCounts& counts, const std::vector<Block>& vBlocks) {
    std::vector<Point3> vCentres;
    std::vector<uint64> vNums;
    PointBox box;
    for (const Block& block : vBlocks) {
        vCentres.push_back(counts.centreOf(block.place));
        vNums.push_back(block.num);
        box.add(vCentres.back());
    }
    std::vector<Place> vStrays;
    for (const std::size_t i : findStrays(vCentres, vNums, box.side())) vStrays.push_back(vBlocks[i].place);
    return vStrays;
}

uint64 numIn(const std::vector<Block>& vBlocks) {
    return std::accumulate(vBlocks.begin(), vBlocks.end(), uint64{0},
                           [](uint64 sum, const Block& block) { return sum + block.num; });
}

// The blocks put together to cubes of sides 2^level times as long.
std::vector<Block> blocksAt(const BlockCounts& counts, const std::vector<Block>& vBlocks, int level) {
    std::vector<Block> vAbove;
    vAbove.reserve(vBlocks.size());
    for (const Block& block : vBlocks) vAbove.push_back({counts.aboveOf(block.place, level), block.num});
    std::sort(vAbove.begin(), vAbove.end(), [](const Block& a, const Block& b) { return a.place < b.place; });
    std::size_t end = 0;
    for (const Block& block : vAbove) {
        if (end > 0 && vAbove[end - 1].place == block.place)
            vAbove[end - 1].num += block.num;
        else
            vAbove[end++] = block;
    }
    vAbove.resize(end);
    return vAbove;
}

// Half of the points lie in blocks that hold at least so many.
uint64 medianCount(const std::vector<Block>& vBlocks) {
    std::vector<uint64> vNums;
    vNums.reserve(vBlocks.size());
    for (const Block& block : vBlocks) vNums.push_back(block.num);
    std::sort(vNums.begin(), vNums.end());
    const uint64 half = numIn(vBlocks) / 2;
    uint64 sum = 0;
    for (const uint64 num : vNums)
        if ((sum += num) > half) return num;
    return 0;
}

uint64 drawn(const Place& place) {
    uint64 mixed = 0;
    for (const std::int64_t number : place) {
        mixed = (mixed ^ static_cast<uint64>(number)) * 0xbf58476d1ce4e5b9;
        mixed ^= mixed >> 29;
    }
    return mixed;
}

// Those to keep all points of, and how much larger than blocks they are.
struct Places {
    int level = 0;
    std::vector<Place> vKept;  // ascending
};

Places drawPlaces(const BlockCounts& counts, const std::vector<Block>& vBlocks, const PlanLimits& limits) {
    constexpr int mostLevels = 40;
    Places places;
    std::vector<Block> vAbove = vBlocks;
    while (vAbove.size() > 1 && places.level < mostLevels && medianCount(vAbove) < limits.pointsOfPlace)
        vAbove = blocksAt(counts, vBlocks, ++places.level);
    std::sort(vAbove.begin(), vAbove.end(), [](const Block& a, const Block& b) {
        return std::pair(drawn(a.place), a.place) < std::pair(drawn(b.place), b.place);
    });
    uint64 num = 0;
    for (const Block& block : vAbove) {
        if (num + block.num > limits.mostPoints) continue;
        num += block.num;
        places.vKept.push_back(block.place);
    }
    std::sort(places.vKept.begin(), places.vKept.end());
    return places;
}

bool isAmong(const std::vector<Place>& vPlaces, const Place& place) {
    return std::binary_search(vPlaces.begin(), vPlaces.end(), place);
}

}  // namespace

Survey surveyInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& reading,
                    const PlanLimits& limits) {
    Survey survey{BlockCounts(limits.mostBlocks), 0, std::nullopt, std::vector<Point3>()};
    const InputFacts facts = readInputs(inputs, reading, true, [&](std::span<const Point3> points) {
        survey.blocks.add(points);
        if (survey.all && survey.all->size() + points.size() > limits.mostPoints) survey.all.reset();
        if (survey.all) survey.all->insert(survey.all->end(), points.begin(), points.end());
    });
    survey.numPoints = facts.numPoints;
    survey.viewpoint = facts.viewpoint;
    return survey;
}

Sample sampleInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& reading, const Survey& survey,
                    bool bKeepOutliers, const PlanLimits& limits) {
    const BlockCounts& counts = survey.blocks;
    std::vector<Block> vBlocks = counts.getBlocks();
    const std::vector<Place> vStrays = bKeepOutliers ? std::vector<Place>() : findStrayBlocks(counts, vBlocks);
    std::erase_if(vBlocks, [&](const Block& block) { return isAmong(vStrays, block.place); });
    const Places places = drawPlaces(counts, vBlocks, limits);
    Sample sample;
    PointBox box;
    Place last{};
    bool bLastKept = false, bLastStray = false, bAny = false;
    readInputs(inputs, reading, false, [&](std::span<const Point3> points) {
        for (const Point3& p : points) {
            const Place place = counts.placeOf(p);
            if (!bAny || place != last) {
                bAny = true;
                last = place;
                bLastStray = isAmong(vStrays, place);
                bLastKept = !bLastStray && isAmong(places.vKept, counts.aboveOf(place, places.level));
            }
            if (bLastStray) {
                ++sample.numStrays;
            } else {
                box.add(p);
                if (bLastKept && sample.points.size() < 2 * limits.mostPoints) sample.points.push_back(p);
            }
        }
    });
    sample.low = Point3(box.low[0], box.low[1], box.low[2]);
    sample.high = Point3(box.high[0], box.high[1], box.high[2]);
    return sample;
}

namespace {

// Of a grid over the box, as Cloud lays it.
int levelsFor(double extent, double spacing, double margin) {
    const double numCells = std::ceil(extent / spacing) + 2.0 * margin;
    const int levels = static_cast<int>(std::min(std::log2(numCells), 1000.0)) + 1;
    if (levels > MAXLEVELS)
        throw ArgumentError(
            "the spacing is too fine for the extent of the points: give a larger one, or cut off what lies far away");
    return levels;
}

void requireResolution(const Point3& low, const Point3& high, double spacing) {
    constexpr double stepsPerCell = 16.0;
    double largest = 0.0;
    for (const double coord : {low.px, low.py, low.pz, high.px, high.py, high.pz})
        largest = std::max(largest, std::abs(coord));
    if (spacing < stepsPerCell * largest * std::numeric_limits<double>::epsilon())
        throw ArgumentError(
            "the spacing is below the resolution of coordinates of this size: move the points towards the origin or "
            "give a larger spacing");
}

}  // namespace

Grid layGrid(const Grid& ofSample, const Point3& low, const Point3& high) {
    constexpr double margin = 5000.0;  // cells on each side
    constexpr int mostBlockLevels = 20;
    const double extent = std::max({high.px - low.px, high.py - low.py, high.pz - low.pz});
    requireResolution(low, high, ofSample.spacing);
    Grid grid = ofSample;
    grid.numLevels = levelsFor(extent, grid.spacing, margin);
    grid.low = low - Vector3(1.0, 1.0, 1.0) * (grid.spacing * margin);
    if (ofSample.blockGridSide <= 0.0) return grid;
    grid.blockLow = low;
    grid.blockGridSide = extent;
    // Blocks of about the same side as among the sample.
    const double finer = std::log2(ofSample.blockGridSide / extent);
    grid.blockLevel = std::clamp(ofSample.blockLevel + static_cast<int>(std::lround(finer)), 1, mostBlockLevels);
    return grid;
}

}  // namespace QUOR_ZEF
