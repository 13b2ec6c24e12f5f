#include "gaps/BorderSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/blockSort.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t fanOut = 8;

std::array<std::int32_t, 3> coordsOf(uint64 rcd) {
    const GridCoords c = unpackRCD(rcd);
    return {static_cast<std::int32_t>(c.x), static_cast<std::int32_t>(c.y), static_cast<std::int32_t>(c.z)};
}

}  // namespace

struct BorderSearch::Question {
    Cell cell;
    std::array<std::int32_t, 3> at;
    std::int64_t best2;  // nothing farther is of interest
    uint64 bestRCD = 0;
    std::uint32_t bestIndex = npos;

    bool isOwn(const Box& box) const {
        return box.minComponent == cell.component && box.maxComponent == cell.component;
    }
    std::int64_t dist2To(const Box& box) const {
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::int64_t d = std::max({box.lower[i] - at[i], at[i] - box.upper[i], 0});
            sum += d * d;
        }
        return sum;
    }
};

void BorderSearch::Box::include(const Box& box) {
    for (int i = 0; i < 3; ++i) {
        lower[i] = std::min(lower[i], box.lower[i]);
        upper[i] = std::max(upper[i], box.upper[i]);
    }
    minComponent = std::min(minComponent, box.minComponent);
    maxComponent = std::max(maxComponent, box.maxComponent);
}

BorderSearch::Box BorderSearch::boxOf(const Cell& cell) const {
    const auto at = coordsOf(cell.rcd);
    return {{at[0], at[1], at[2]}, {at[0], at[1], at[2]}, cell.component, cell.component};
}

BorderSearch::BorderSearch(const std::vector<Cell>& vGivenCells, double smallReachInCells)
    : smallReach(smallReachInCells) {
    ASSEX(vGivenCells.size() < npos);
    std::vector<std::pair<uint64, std::uint32_t>> vOrder;
    vOrder.reserve(vGivenCells.size());
    for (const Cell& cell : vGivenCells) {
        const GridCoords c = unpackRCD(cell.rcd);
        vOrder.emplace_back(packCCD(c.x, c.y, c.z), static_cast<std::uint32_t>(vOrder.size()));
    }
    sortStableByFirstMT(vOrder.begin(), vOrder.end());
    vCells.reserve(vOrder.size());
    vNumbers.reserve(vOrder.size());
    for (const auto& [ccd, index] : vOrder) {
        vCells.push_back(vGivenCells[index]);
        vNumbers.push_back(index);
    }
    buildLevels();
}

void BorderSearch::buildLevels() {
    const auto addLevel = [this](std::size_t numBelow, const auto& boxBelow) {
        std::vector<Box> vBoxes;
        vBoxes.reserve((numBelow + fanOut - 1) / fanOut);
        for (std::size_t i = 0; i < numBelow; ++i) {
            if (i % fanOut == 0) {
                vBoxes.push_back(boxBelow(i));
            } else {
                vBoxes.back().include(boxBelow(i));
            }
        }
        vLevels.push_back(std::move(vBoxes));
    };
    addLevel(vCells.size(), [this](std::size_t i) { return boxOf(vCells[i]); });
    while (vLevels.back().size() > fanOut) {
        const std::vector<Box>& vBelow = vLevels.back();
        addLevel(vBelow.size(), [&](std::size_t i) { return vBelow[i]; });
    }
}

void BorderSearch::testCells(std::size_t leaf, Question& question) const {
    const std::size_t end = std::min((leaf + 1) * fanOut, vCells.size());
    for (std::size_t i = leaf * fanOut; i < end; ++i) {
        const Cell& cell = vCells[i];
        if (cell.component == question.cell.component) continue;
        const std::int64_t dist2 = question.dist2To(boxOf(cell));
        if (dist2 > question.best2) continue;
        if (dist2 == question.best2 && question.bestIndex != npos && cell.rcd < question.bestRCD) continue;
        if (cell.bSmall && std::sqrt(static_cast<double>(dist2)) >= smallReach) continue;
        question.best2 = dist2;
        question.bestRCD = cell.rcd;
        question.bestIndex = vNumbers[i];
    }
}

// Near boxes come first, so that the far ones can be left out.
void BorderSearch::visit(std::size_t level, std::size_t first, Question& question) const {
    const std::vector<Box>& vBoxes = vLevels[level];
    std::array<std::pair<std::int64_t, std::size_t>, fanOut> aBoxes;
    std::size_t numBoxes = 0;
    for (std::size_t i = first; i < std::min(first + fanOut, vBoxes.size()); ++i) {
        if (!question.isOwn(vBoxes[i])) aBoxes[numBoxes++] = {question.dist2To(vBoxes[i]), i};
    }
    insertionSort(aBoxes.begin(), aBoxes.begin() + static_cast<std::ptrdiff_t>(numBoxes), std::less<>());
    for (std::size_t k = 0; k < numBoxes && aBoxes[k].first <= question.best2; ++k) {
        if (level == 0) {
            testCells(aBoxes[k].second, question);
        } else {
            visit(level - 1, aBoxes[k].second * fanOut, question);
        }
    }
}

BorderSearch::Hit BorderSearch::nearestOfOther(const Cell& cell, int maxDist) const {
    Question question{cell, coordsOf(cell.rcd), std::int64_t{maxDist} * maxDist};
    visit(vLevels.size() - 1, 0, question);
    return {question.bestIndex, question.best2};
}

}  // namespace QUOR_ZEF
