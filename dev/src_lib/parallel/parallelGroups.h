#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include "parallel/parallelTransform.h"

// Loops of parallelTransform.h, cut into up to 32 groups that run one after the other: after
// each of them onGroup(number of its indices) runs on the calling thread, to tell how far
// the loop is. What onGroup throws leaves the loop. A group costs some 20 microseconds.

namespace QUOR_ZEF {

// The same for any number of threads.
inline std::size_t getGroupSize(std::size_t n, std::size_t minChunk) {
    constexpr std::size_t maxGroups = 32, chunksPerGroup = 4;
    return std::max((n + maxGroups - 1) / maxGroups, std::max<std::size_t>(minChunk, 1) * chunksPerGroup);
}

// fn(begin, end) as in parallelChunks().
template <class Fn, class OnGroup>
void parallelGroups(std::size_t n, std::size_t minChunk, const Fn& fn, const OnGroup& onGroup) {
    const std::size_t size = getGroupSize(n, minChunk);
    for (std::size_t first = 0; first < n; first += size) {
        const std::size_t num = std::min(size, n - first);
        parallelChunks(num, minChunk, [&](std::size_t begin, std::size_t end) { fn(first + begin, first + end); });
        onGroup(num);
    }
}

// As parallelChunkResults().
template <class R, class Fn, class OnGroup>
std::vector<R> parallelGroupResults(std::size_t n, std::size_t minChunk, const Fn& fn, const OnGroup& onGroup) {
    std::vector<R> vResults;
    const std::size_t size = getGroupSize(n, minChunk);
    for (std::size_t first = 0; first < n; first += size) {
        const std::size_t num = std::min(size, n - first);
        std::vector<R> vGroup = parallelChunkResults<R>(
            num, minChunk, [&](std::size_t begin, std::size_t end) { return fn(first + begin, first + end); });
        std::move(vGroup.begin(), vGroup.end(), std::back_inserter(vResults));
        onGroup(num);
    }
    return vResults;
}

}  // namespace QUOR_ZEF
