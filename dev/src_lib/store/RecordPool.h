#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "store/SlabMemory.h"

namespace QUOR_ZEF {

// Records numbered from 0 in order of making. Their addresses stand until
// reset(). Destructors are not run: whoever gives T something to own destroys
// those records itself before reset() and before the pool dies.
// One thread at a time; making and finding are O(1), reset() keeps the memory.
template <class T>
class RecordPool {
public:
    template <class... Args>
    T* make(Args&&... args) {
        if ((numRecords & (chunkSize - 1)) == 0 && (numRecords >> chunkBits) == vChunks.size()) addChunk();
        T* pRecord = ::new (static_cast<void*>(place(numRecords))) T(std::forward<Args>(args)...);
        ++numRecords;
        return pRecord;
    }
    // Adds places for this many records, to be made in any order, also side by side.
    void grow(std::uint32_t numMore) {
        while (vChunks.size() << chunkBits < std::size_t{numRecords} + numMore) addChunk();
        numRecords += numMore;
    }
    template <class... Args>
    T* makeAt(std::size_t number, Args&&... args) {
        return ::new (static_cast<void*>(place(number))) T(std::forward<Args>(args)...);
    }
    T* operator[](std::size_t number) const { return std::launder(reinterpret_cast<T*>(place(number))); }
    std::uint32_t size() const { return numRecords; }
    void reset() { numRecords = 0; }

private:
    static constexpr std::uint32_t chunkBits = 12;
    static constexpr std::uint32_t chunkSize = 1u << chunkBits;
    void addChunk() { vChunks.push_back(static_cast<std::byte*>(memory.take(chunkSize * sizeof(T)))); }
    std::byte* place(std::size_t number) const {
        return vChunks[number >> chunkBits] + (number & (chunkSize - 1)) * sizeof(T);
    }

    SlabMemory memory;
    std::vector<std::byte*> vChunks;
    std::uint32_t numRecords = 0;
};

}  // namespace QUOR_ZEF
