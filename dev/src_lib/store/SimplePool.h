#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "frame/tools.h"

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
        for (T* pBlock : vBlocks) std::free(pBlock);
    }

    // To be called once, before the first alloc(): sizes in elements. A first size
    // of 0 is fine. A negative next size makes the second block half as large as
    // the first, and each later one double its predecessor, up to 100 MB.
    // A second call, or no memory, writes a line and ends the process with status 1.
    void init(int firstSize, int nextSize) {
        if (bInitialized) {
            std::cout << "SimplePool::init(..), ERROR: This pool is already initialized" << std::endl;
            hardStop(1);
        }
        maxBlockSize = static_cast<int>(maxBlockBytes / sizeof(T));
        firstBlockSize = firstSize;
        nextBlockSize = nextSize;
        addBlock(std::max(firstSize, 0));
        bInitialized = true;
    }

    // The place of the next record: an increment and a compare as a rule.
    // No memory writes a line and ends the process with status 1.
    T* alloc() {
        if (++index >= capacity) [[unlikely]]
            startNextBlock();
        return pCurrent + index;
    }

private:
    static constexpr std::size_t maxBlockBytes = 100'000'000;

    void startNextBlock() {
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

    void addBlock(int n) {
        if (n < 0) n = std::max(std::min(deriveBlockSize(), maxBlockSize), 1);
        vBlockSizes.push_back(n);
        T* const pBlock =
            static_cast<T*>(std::malloc(std::max<std::size_t>(static_cast<std::size_t>(n) * sizeof(T), 1)));
        if (!pBlock) {
            std::cout << "SimplePool::alloc(..), ERROR: Out of memory, sorry" << std::endl;
            hardStop(1);
        }
        vBlocks.push_back(pBlock);
        pCurrent = pBlock;
        capacity = n;
        index = -1;
    }
};

}  // namespace QUOR_ZEF
