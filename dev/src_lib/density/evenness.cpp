#include "density/evenness.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "grid/ColumnCursors.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minTogether = 4096;
constexpr std::size_t minCells = 6;

// Each code once; vCounts tells how often it was there.
void countRuns(std::vector<uint64>& vSorted, std::vector<std::size_t>& vCounts) {
    std::size_t num = 0;
    for (std::size_t i = 0; i < vSorted.size(); ++i) {
        if (num == 0 || vSorted[num - 1] != vSorted[i]) {
            vSorted[num++] = vSorted[i];
            vCounts.push_back(0);
        }
        ++vCounts.back();
    }
    vSorted.resize(num);
}

std::size_t countCellsAround(ColumnCursors<1>& cursors, uint64 rcd) {
    std::size_t num = 0;
    for (int dx = -1; dx <= 1; ++dx)
        for (int dy = -1; dy <= 1; ++dy) {
            const auto [first, last] = cursors.around(rcd, dx, dy);
            num += last - first;
        }
    return num;
}

}  // namespace

double getUnsupportedShare(std::vector<uint64> vRCD) {
    if (vRCD.empty()) return 0.0;
    const auto numPoints = static_cast<double>(vRCD.size());
    sortMT(vRCD.begin(), vRCD.end());
    std::vector<std::size_t> vCounts;
    countRuns(vRCD, vCounts);
    const auto vUnsupported =
        parallelChunkResults<std::size_t>(vRCD.size(), minTogether, [&](std::size_t begin, std::size_t end) {
            ColumnCursors<1> cursors(vRCD);
            std::size_t num = 0;
            for (std::size_t i = begin; i < end; ++i)
                if (countCellsAround(cursors, vRCD[i]) < minCells) num += vCounts[i];
            return num;
        });
    const std::size_t sum = std::accumulate(vUnsupported.begin(), vUnsupported.end(), std::size_t{0});
    return static_cast<double>(sum) / numPoints;
}

}  // namespace QUOR_ZEF
