#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

unsigned getLoopThreads(std::size_t n) {
    // Asking for the hardware threads costs microseconds, so n comes first.
    if (n < 2) return 1;
    const unsigned numThreads = getNumThreads();
    if (numThreads < 2 || getTaskPool().isStopped()) return 1;
    return numThreads;
}

std::vector<std::size_t> getChunkBounds(std::size_t n, std::size_t minChunk) {
    if (n == 0) return {0};
    const std::size_t maxChunks = n / std::max<std::size_t>(minChunk, 1);
    const unsigned numThreads = maxChunks < 2 ? 1 : getLoopThreads(n);
    const std::size_t numChunks = numThreads < 2 ? 1 : std::min(maxChunks, 2 * std::size_t{numThreads});
    std::vector<std::size_t> vBounds(numChunks + 1);
    const std::size_t size = n / numChunks;
    const std::size_t numLonger = n % numChunks;  // the first ones take one more each
    for (std::size_t i = 0; i <= numChunks; ++i) vBounds[i] = i * size + std::min(i, numLonger);
    return vBounds;
}

}  // namespace QUOR_ZEF
