#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "store/ScratchArray.h"

namespace QUOR_ZEF {

// Raw memory that grows with its use and is freed as a whole: slabs of doubling
// size, the large ones on huge pages where the system lends them. Faulting in
// small pages would cost as much as building the mesh in them.
// Aligned for every type. Takes at most twice of what was asked for, and none of
// that is touched before it is used. One thread at a time.
class SlabMemory {
public:
    SlabMemory() = default;
    ~SlabMemory() {
        for (const Slab& slab : vSlabs) freeScratch(slab.pMemory, slab.numBytes);
    }
    SlabMemory(const SlabMemory&) = delete;
    SlabMemory& operator=(const SlabMemory&) = delete;

    // No memory throws std::bad_alloc.
    void* take(std::size_t numBytes) {
        const std::size_t rounded = (numBytes + alignment - 1) / alignment * alignment;
        if (rounded > numLeft) addSlab(rounded);
        std::byte* const pTaken = pNext;
        pNext += rounded;
        numLeft -= rounded;
        return pTaken;
    }

private:
    static constexpr std::size_t alignment = 64;
    static constexpr std::size_t minSlabBytes = std::size_t{256} << 10;
    static constexpr std::size_t maxSlabBytes = std::size_t{32} << 20;

    struct Slab {
        void* pMemory;
        std::size_t numBytes;
    };

    void addSlab(std::size_t minBytes) {
        const std::size_t numBytes = std::max(minBytes, nextSlabBytes);
        vSlabs.reserve(vSlabs.size() + 1);
        pNext = static_cast<std::byte*>(allocateScratch(numBytes));
        vSlabs.push_back({pNext, numBytes});
        numLeft = numBytes;
        nextSlabBytes = std::min(2 * nextSlabBytes, maxSlabBytes);
    }

    std::vector<Slab> vSlabs;
    std::byte* pNext = nullptr;
    std::size_t numLeft = 0;
    std::size_t nextSlabBytes = minSlabBytes;
};

}  // namespace QUOR_ZEF
