#include "store/ScratchArray.h"

#include <cstdlib>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace QUOR_ZEF {

namespace {

constexpr std::size_t hugePageBytes = std::size_t{2} << 20;

}  // namespace

void* allocateScratch(std::size_t numBytes) {
    if (numBytes < 2 * hugePageBytes) {
        void* const pSmall = std::malloc(numBytes != 0 ? numBytes : 1);
        if (!pSmall) throw std::bad_alloc();
        return pSmall;
    }
    const std::size_t rounded = (numBytes + hugePageBytes - 1) / hugePageBytes * hugePageBytes;
    void* const pMemory = std::aligned_alloc(hugePageBytes, rounded);
    if (!pMemory) throw std::bad_alloc();
#ifdef __linux__
    // Only advice: without it, or where it is refused, everything works as well.
    static_cast<void>(madvise(pMemory, rounded, MADV_HUGEPAGE));
#endif
    return pMemory;
}

void freeScratch(void* pMemory) {
    std::free(pMemory);
}

}  // namespace QUOR_ZEF
