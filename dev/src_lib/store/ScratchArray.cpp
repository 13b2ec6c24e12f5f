#include "store/ScratchArray.h"

#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace QUOR_ZEF {

namespace {

constexpr std::size_t hugePageBytes = std::size_t{2} << 20;
constexpr std::align_val_t hugePage{hugePageBytes};

bool isLarge(std::size_t numBytes) {
    return numBytes >= 2 * hugePageBytes;
}

}  // namespace

void* allocateScratch(std::size_t numBytes) {
    if (!isLarge(numBytes)) return ::operator new(numBytes);
    const std::size_t rounded = (numBytes + hugePageBytes - 1) / hugePageBytes * hugePageBytes;
    void* const pMemory = ::operator new(rounded, hugePage);
#ifdef __linux__
    // Only advice: without it, or where it is refused, everything works as well.
    static_cast<void>(madvise(pMemory, rounded, MADV_HUGEPAGE));
#endif
    return pMemory;
}

void freeScratch(void* pMemory, std::size_t numBytes) {
    if (isLarge(numBytes)) return ::operator delete(pMemory, hugePage);
    ::operator delete(pMemory);
}

}  // namespace QUOR_ZEF
