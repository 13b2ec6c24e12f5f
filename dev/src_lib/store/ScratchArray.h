#pragma once

#include <cstddef>

namespace QUOR_ZEF {

// Memory for short use, on huge pages where the system lends them: for arrays of
// many megabytes, faulting in small pages would cost more than the work on them.
// Aligned for every type; contents undefined; no memory throws std::bad_alloc.
void* allocateScratch(std::size_t numBytes);
// numBytes: what was asked for.
void freeScratch(void* pMemory, std::size_t numBytes);

// size() places for T, raw memory: whoever constructs records there destroys them.
template <class T>
class ScratchArray {
public:
    explicit ScratchArray(std::size_t n) : pData(static_cast<T*>(allocateScratch(n * sizeof(T)))), numPlaces(n) {}
    ~ScratchArray() { freeScratch(pData, numPlaces * sizeof(T)); }
    ScratchArray(const ScratchArray&) = delete;
    ScratchArray& operator=(const ScratchArray&) = delete;

    T* data() const { return pData; }
    std::size_t size() const { return numPlaces; }
    T& operator[](std::size_t i) const { return pData[i]; }

private:
    T* pData;
    std::size_t numPlaces;
};

}  // namespace QUOR_ZEF
