#include "view/BandList.h"

#include <algorithm>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

// The same for any number of threads, so that lists ascend within a block of numbers and
// blocks follow one another.
constexpr std::size_t numBlocks = 32;

// f(band) for each band that the triangle, line or point may show in.
template <class F>
void forEachBand(const Model& model, std::uint32_t number, std::size_t numBands, std::int32_t bandRows, const F& f) {
    std::int32_t low, high;
    if (model.isTriangle(number)) {
        const std::array<Spot, 3> s = model.spotsOf(number);
        if (!s[0].isSomewhere() || !s[1].isSomewhere() || !s[2].isSomewhere()) return;
        const auto [left, right] = std::minmax({s[0].x, s[1].x, s[2].x});
        const SampleRange columns(left, right);
        if (columns.first > columns.last) return;
        low = std::min({s[0].y, s[1].y, s[2].y});
        high = std::max({s[0].y, s[1].y, s[2].y});
    } else {
        const Stroke stroke = model.strokeOf(number);
        if (!stroke.a.isSomewhere()) return;
        low = std::min(stroke.a.y, stroke.b.y) - stroke.radius;
        high = std::max(stroke.a.y, stroke.b.y) + stroke.radius;
    }
    const SampleRange rows(low, high);
    if (rows.first > rows.last || rows.last < 0) return;
    const auto last = std::min<std::size_t>(static_cast<std::size_t>(rows.last / bandRows) + 1, numBands);
    for (auto band = static_cast<std::size_t>(std::max(rows.first, 0) / bandRows); band < last; ++band) f(band);
}

}  // namespace

BandList::BandList(const Model& model, std::size_t numBands, std::int32_t bandRows) {
    const auto forBlock = [&](std::size_t block, const auto& f) {
        const auto begin = static_cast<std::uint32_t>(model.numAll * block / numBlocks);
        const auto end = static_cast<std::uint32_t>(model.numAll * (block + 1) / numBlocks);
        for (std::uint32_t i = begin; i < end; ++i)
            forEachBand(model, i, numBands, bandRows, [&](std::size_t band) { f(i, band); });
    };
    std::vector<std::size_t> vNext(numBlocks * numBands);  // by block, then by band
    shareTasks(numBlocks, [&](std::size_t block, int /*worker*/) {
        std::size_t* const pCounts = vNext.data() + block * numBands;
        forBlock(block, [&](std::uint32_t /*number*/, std::size_t band) { ++pCounts[band]; });
    });
    vStarts.reserve(numBands + 1);
    std::size_t sum = 0;
    for (std::size_t band = 0; band < numBands; ++band) {
        vStarts.push_back(sum);
        for (std::size_t block = 0; block < numBlocks; ++block) {
            const std::size_t count = vNext[block * numBands + band];
            vNext[block * numBands + band] = sum;
            sum += count;
        }
    }
    vStarts.push_back(sum);
    vNumbers.resize(sum);
    shareTasks(numBlocks, [&](std::size_t block, int /*worker*/) {
        std::size_t* const pNext = vNext.data() + block * numBands;
        forBlock(block, [&](std::uint32_t number, std::size_t band) { vNumbers[pNext[band]++] = number; });
    });
}

}  // namespace QUOR_ZEF
