#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <vector>

#include "frame/tools.h"
#include "store/ScratchArray.h"

namespace QUOR_ZEF {

// Hands out places for millions of records of one type, none of which is freed
// alone. The places are raw memory: whoever allocates constructs the record there
// (std::construct_at) and destroys it too if its type needs that; the pool runs
// neither constructors nor destructors. Addresses stay valid until the pool dies,
// which frees all blocks. One thread at a time.
template <class T>
class SimplePool {
    static_assert(alignof(T) <= alignof(std::max_align_t));

public:
    std::vector<T*> vBlocks;       // the raw blocks, owned
    std::vector<int> vBlockSizes;  // elements per block
    T* pCurrent = nullptr;         // the newest block
    int index = -1;                // of the last element handed out; -1 at a new block
    int capacity = -1;             // elements of the newest block
    int firstBlockSize = -1;
    int nextBlockSize = -1;
    bool bInitialized = false;
    bool bSingleBlock = true;  // until a second block is added
    int maxBlockSize = -1;     // what derived block sizes are capped at

    SimplePool() = default;
    SimplePool(const SimplePool&) = delete;
    SimplePool& operator=(const SimplePool&) = delete;
    ~SimplePool() {
        for (std::size_t i = 0; i < vBlocks.size(); ++i) freeScratch(vBlocks[i], numBytesOf(vBlockSizes[i]));
    }

    // To be called once, before the first alloc(): sizes in elements. A first size
    // of 0 is fine. A negative next size makes the second block half as large as
    // the first, and each later one double its predecessor, up to 100 MB.
    // A second call fails an ASSEX after a line. No memory: see alloc().
    void init(int firstSize, int nextSize) {
        if (bInitialized) showDetail("SimplePool::init(..), ERROR: This pool is already initialized");
        ASSEX(!bInitialized);
        maxBlockSize = static_cast<int>(maxBlockBytes / sizeof(T));
        firstBlockSize = firstSize;
        nextBlockSize = nextSize;
        addBlock(std::max(firstSize, 0));
        bInitialized = true;
    }

    // The place of the next record: an increment and a compare as a rule.
    // No memory writes a line and throws std::bad_alloc; the pool is as it was.
    T* alloc() {
        if (++index >= capacity) [[unlikely]]
            startNextBlock();
        return pCurrent + index;
    }

private:
    static constexpr std::size_t maxBlockBytes = 100'000'000;

    void startNextBlock() {
        --index;  // until there is a place
        ASSEX(bInitialized);
        addBlock(nextBlockSize == 0 ? 1 : nextBlockSize);
        ++index;
        bSingleBlock = false;
    }

    int deriveBlockSize() const {
        const int s = vBlockSizes.back();
        if (vBlockSizes.size() == 1) return std::max(s / 2 != 0 ? s / 2 : s, 1);
        return s > maxBlockSize / 2 ? maxBlockSize : 2 * s;
    }

    static std::size_t numBytesOf(int n) { return static_cast<std::size_t>(n) * sizeof(T); }

    static T* allocateBlock(int n) {
        try {
            return static_cast<T*>(allocateScratch(numBytesOf(n)));
        } catch (const std::bad_alloc&) {
            showDetail("SimplePool::alloc(..), ERROR: Out of memory, sorry");
            throw;
        }
    }

    void addBlock(int n) {
        if (n < 0) n = std::max(std::min(deriveBlockSize(), maxBlockSize), 1);
        vBlocks.reserve(vBlocks.size() + 1);
        vBlockSizes.reserve(vBlockSizes.size() + 1);
        pCurrent = allocateBlock(n);
        vBlocks.push_back(pCurrent);
        vBlockSizes.push_back(n);
        capacity = n;
        index = -1;
    }
};

}  // namespace QUOR_ZEF
