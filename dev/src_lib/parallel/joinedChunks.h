#pragma once

#include <cstddef>
#include <vector>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

// What fn(begin, end) returns, vectors of T, for chunks of 0..n of minChunk or more; one behind the other.
// Parallel; see parallelChunks(). What is returned must not depend on where the cuts fall.
template <class T, class Fn>
std::vector<T> joinedChunks(std::size_t n, std::size_t minChunk, const Fn& fn) {
    std::vector<std::vector<T>> vParts = parallelChunkResults<std::vector<T>>(n, minChunk, fn);
    if (vParts.empty()) return {};
    std::size_t size = 0;
    for (const std::vector<T>& v : vParts) size += v.size();
    std::vector<T> vAll;
    vAll.swap(vParts.front());
    vAll.reserve(size);
    for (const std::vector<T>& v : vParts) vAll.insert(vAll.end(), v.begin(), v.end());
    return vAll;
}

}  // namespace QUOR_ZEF
