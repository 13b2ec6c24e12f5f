#include "flat/EdgeTable.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 10'000;  // vertices

bool bySide(const EdgeSide& a, const EdgeSide& b) {
    return std::tie(a.high, a.side) < std::tie(b.high, b.side);
}

// Nearly all buckets have a handful of entries, which stand by side already.
void sortEntries(EdgeSide* pFirst, std::size_t size) {
    constexpr std::size_t many = 32;
    if (size > many) return std::sort(pFirst, pFirst + size, bySide);
    for (std::size_t i = 1; i < size; ++i) {
        const EdgeSide entry = pFirst[i];
        std::size_t place = i;
        for (; place > 0 && pFirst[place - 1].high > entry.high; --place) pFirst[place] = pFirst[place - 1];
        pFirst[place] = entry;
    }
}

}  // namespace

EdgeTable::EdgeTable(const std::vector<std::uint32_t>& vTriples_, std::size_t numVertices)
    : vTriples(vTriples_), vBuckets(numVertices) {
    ASSEX(vTriples.size() < 0xffffffffu);
    fillBuckets();
    sortBuckets();
}

// Counts first, so that each bucket gets its place.
void EdgeTable::fillBuckets() {
    const auto forEachSide = [&](auto&& f) {
        for (std::uint32_t side = 0; side < vTriples.size(); side += 3) {
            pollRun(side / 3);
            const std::uint32_t a = vTriples[side], b = vTriples[side + 1], c = vTriples[side + 2];
            f(std::min(a, b), std::max(a, b), side);
            f(std::min(b, c), std::max(b, c), side + 1);
            f(std::min(c, a), std::max(c, a), side + 2);
        }
    };
    forEachSide([&](std::uint32_t low, std::uint32_t, std::uint32_t) { ++vBuckets[low].size; });
    std::uint32_t begin = 0;
    for (Bucket& bucket : vBuckets) {
        bucket.begin = begin;
        begin += bucket.size;
        bucket.size = 0;
    }
    vEntries.resize(vTriples.size());
    forEachSide([&](std::uint32_t low, std::uint32_t high, std::uint32_t side) {
        Bucket& bucket = vBuckets[low];
        vEntries[bucket.begin + bucket.size++] = {high, side};
    });
}

void EdgeTable::sortBuckets() {
    const auto vChunks = parallelChunkResults<std::vector<VertexPair>>(
        vBuckets.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t low = begin; low < end; ++low)
                sortEntries(vEntries.data() + vBuckets[low].begin, vBuckets[low].size);
            std::vector<VertexPair> vOddHere;
            forEachEdge(begin, end, [&](const Edge& edge) {
                if (edge.size() != 2) vOddHere.push_back(edge.ends());
            });
            return vOddHere;
        });
    for (const std::vector<VertexPair>& vOddHere : vChunks) vOdd.insert(vOdd.end(), vOddHere.begin(), vOddHere.end());
}

Edge EdgeTable::at(std::uint32_t a, std::uint32_t b) const {
    const std::uint32_t low = std::min(a, b), high = std::max(a, b);
    const std::span<const EdgeSide> sides = bucket(low);
    const auto first = std::lower_bound(sides.begin(), sides.end(), high,
                                        [](const EdgeSide& entry, std::uint32_t v) { return entry.high < v; });
    const auto end = std::find_if(first, sides.end(), [high](const EdgeSide& entry) { return entry.high != high; });
    return {low, {first, end}};
}

void EdgeTable::appendEndsOf(std::uint32_t triangle, std::vector<VertexPair>& vEnds) const {
    for (std::uint32_t side = 3 * triangle; side < 3 * triangle + 3; ++side)
        vEnds.push_back(std::minmax(vTriples[side], vTriples[nextSide(side)]));
}

std::vector<VertexPair> EdgeTable::follow(const std::vector<bool>& vDead, const std::vector<std::uint32_t>& vKilled,
                                          std::uint32_t firstNew) {
    ASSEX(vTriples.size() < 0xffffffffu);
    std::vector<VertexPair> vTouched;
    for (const std::uint32_t triangle : vKilled) appendEndsOf(triangle, vTouched);
    std::vector<std::pair<std::uint32_t, EdgeSide>> vAdded;  // lower vertex, entry
    for (std::uint32_t side = 3 * firstNew; side < vTriples.size(); ++side) {
        const auto [low, high] = std::minmax(vTriples[side], vTriples[nextSide(side)]);
        vTouched.emplace_back(low, high);
        vAdded.push_back({low, {high, side}});
    }
    std::sort(vTouched.begin(), vTouched.end());
    vTouched.erase(std::unique(vTouched.begin(), vTouched.end()), vTouched.end());
    std::sort(vAdded.begin(), vAdded.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : bySide(a.second, b.second);
    });
    std::vector<EdgeSide> vNew;
    auto added = vAdded.begin();
    for (std::size_t i = 0; i < vTouched.size(); ++i) {
        const std::uint32_t low = vTouched[i].first;
        if (i > 0 && vTouched[i - 1].first == low) continue;
        vNew.clear();
        for (; added != vAdded.end() && added->first == low; ++added) vNew.push_back(added->second);
        renewBucket(low, vDead, vNew);
    }
    renewOddEdges(vTouched);
    return vTouched;
}

// A bucket that grows moves to the end.
void EdgeTable::renewBucket(std::uint32_t low, const std::vector<bool>& vDead, std::span<const EdgeSide> vNew) {
    Bucket& own = vBuckets[low];
    const auto first = vEntries.begin() + own.begin;
    const auto isDead = [&](const EdgeSide& entry) { return vDead[entry.side / 3]; };
    own.size = static_cast<std::uint32_t>(std::remove_if(first, first + own.size, isDead) - first);
    if (vNew.empty()) return;
    std::vector<EdgeSide> vMerged;
    std::merge(first, first + own.size, vNew.begin(), vNew.end(), std::back_inserter(vMerged), bySide);
    own = {static_cast<std::uint32_t>(vEntries.size()), static_cast<std::uint32_t>(vMerged.size())};
    vEntries.insert(vEntries.end(), vMerged.begin(), vMerged.end());
    ASSEX(vEntries.size() < 0xffffffffu);
}

void EdgeTable::renewOddEdges(const std::vector<VertexPair>& vTouched) {
    std::vector<VertexPair> vOthers, vOddNow;
    std::set_difference(vOdd.begin(), vOdd.end(), vTouched.begin(), vTouched.end(), std::back_inserter(vOthers));
    for (const VertexPair& ends : vTouched) {
        const std::size_t numSides = at(ends).size();
        if (numSides != 0 && numSides != 2) vOddNow.push_back(ends);
    }
    vOdd.clear();
    std::merge(vOthers.begin(), vOthers.end(), vOddNow.begin(), vOddNow.end(), std::back_inserter(vOdd));
}

namespace {

// Each triangle is looked at once, at the edge of its two lower vertices.
void findDuplicatesAt(const std::vector<std::uint32_t>& vTriples, const Edge& edge, std::vector<VertexPair>& vThirds,
                      std::vector<std::uint32_t>& vDuplicates) {
    vThirds.clear();  // highest vertex, triangle
    for (const EdgeSide& entry : edge.sides) {
        const std::uint32_t third = vTriples[previousSide(entry.side)];
        if (third > entry.high) vThirds.emplace_back(third, entry.side / 3);
    }
    std::sort(vThirds.begin(), vThirds.end());
    for (std::size_t i = 1; i < vThirds.size(); ++i)
        if (vThirds[i].first == vThirds[i - 1].first) vDuplicates.push_back(vThirds[i].second);
}

}  // namespace

std::vector<std::uint32_t> findDuplicates(const std::vector<std::uint32_t>& vTriples, const EdgeTable& edges) {
    const auto vChunks = parallelChunkResults<std::vector<std::uint32_t>>(
        edges.numVertices(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<std::uint32_t> vHere;
            std::vector<VertexPair> vThirds;
            edges.forEachEdge(begin, end, [&](const Edge& edge) {
                if (edge.size() > 1) findDuplicatesAt(vTriples, edge, vThirds, vHere);
            });
            return vHere;
        });
    std::vector<std::uint32_t> vDuplicates;
    for (const std::vector<std::uint32_t>& vHere : vChunks)
        vDuplicates.insert(vDuplicates.end(), vHere.begin(), vHere.end());
    std::sort(vDuplicates.begin(), vDuplicates.end());
    return vDuplicates;
}

}  // namespace QUOR_ZEF
