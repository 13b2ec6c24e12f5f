#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/tools.h"
#include "store/SlabMemory.h"

namespace QUOR_ZEF {

// Many small lists of plain values, numbered from 0, in one pool.
//
// A list keeps the order in which its items were appended; an erased item
// leaves the order of the others alone. A list costs 8 bytes and the items
// rounded up to the next capacity: 2, 4, 6, 8, 12, 16, 24, 32, 48 ...
// The capacity always follows from the size, so it is stored nowhere, and a
// block that a list has outgrown goes to the next list of that capacity.
//
// A view of a list is valid until the next change of that list.
// One thread at a time. Appending is amortised O(1), erasing O(length).
template <class T>
class ListPool {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    // All lists empty, numLists of them. The memory stays for the next filling.
    void reset(std::size_t numLists) {
        vLists.assign(numLists, List{});
        std::erase_if(vChunks, [](const Chunk& chunk) { return chunk.pBig != nullptr; });
        for (auto& vOffsets : vFree) vOffsets.clear();
        numChunksUsed = 0;
        numUsed = chunkSize;
    }

    // Adds empty lists at the end; never takes one away.
    void grow(std::size_t numLists) {
        if (numLists > vLists.size()) vLists.resize(numLists);
    }

    std::size_t size() const { return vLists.size(); }

    std::span<const T> operator[](std::size_t list) const {
        const List& l = vLists[list];
        return {l.size == 0 ? nullptr : at(l.offset), l.size};
    }
    std::span<T> operator[](std::size_t list) {
        const List& l = vLists[list];
        return {l.size == 0 ? nullptr : at(l.offset), l.size};
    }

    // Gives an empty list this many items, to be written by its owner.
    void fill(std::size_t list, std::uint32_t numItems) {
        if (numItems != 0) vLists[list] = List{acquire(capacityFor(numItems)), numItems};
    }

    void push(std::size_t list, const T& item) {
        List& l = vLists[list];
        if (capacityFor(l.size) == l.size) l.offset = move(l, l.size + 1);
        at(l.offset)[l.size++] = item;
    }

    // Takes out the item at this position; the later ones move up.
    void erase(std::size_t list, std::size_t position) {
        List& l = vLists[list];
        T* pItems = at(l.offset);
        std::copy(pItems + position + 1, pItems + l.size, pItems + position);
        const std::uint32_t oldCapacity = capacityFor(l.size);
        --l.size;
        if (capacityFor(l.size) != oldCapacity) shrink(l, oldCapacity);
    }

    void clear(std::size_t list) {
        List& l = vLists[list];
        if (l.size != 0) release(l.offset, capacityFor(l.size));
        l = List{};
    }

private:
    struct List {
        std::uint32_t offset = 0;  // chunk in the upper half, place in the lower
        std::uint32_t size = 0;
    };
    struct Chunk {
        T* pItems;
        std::unique_ptr<T[]> pBig;  // the memory of a chunk made for one list longer than chunkSize
    };
    static constexpr std::uint32_t chunkBits = 16;
    static constexpr std::uint32_t chunkSize = 1u << chunkBits;

    static std::uint32_t capacityFor(std::uint32_t size) {
        if (size <= 8) return (size + 1) & ~1u;
        const auto bits = static_cast<std::uint32_t>(std::bit_width(size - 1));
        const std::uint32_t threeQuarters = 3u << (bits - 2);
        return size <= threeQuarters ? threeQuarters : 1u << bits;
    }
    // Numbers the capacities in order, from 1.
    static std::uint32_t classOf(std::uint32_t capacity) {
        if (capacity <= 8) return capacity / 2;
        const auto bits = static_cast<std::uint32_t>(std::bit_width(capacity - 1));
        return 2 * bits - (capacity == 1u << bits ? 2 : 3);
    }

    T* at(std::uint32_t offset) const { return vChunks[offset >> chunkBits].pItems + (offset & (chunkSize - 1)); }

    std::uint32_t acquire(std::uint32_t capacity) {
        auto& vOffsets = vFree[classOf(capacity)];
        if (!vOffsets.empty()) {
            const std::uint32_t offset = vOffsets.back();
            vOffsets.pop_back();
            return offset;
        }
        if (capacity > chunkSize) return addChunk(capacity) << chunkBits;
        if (numUsed + capacity > chunkSize) nextChunk();
        const std::uint32_t offset = (currentChunk << chunkBits) + numUsed;
        numUsed += capacity;
        return offset;
    }
    void release(std::uint32_t offset, std::uint32_t capacity) { vFree[classOf(capacity)].push_back(offset); }

    // Chunks that an earlier filling left are taken first, in their order.
    void nextChunk() {
        while (numChunksUsed < vChunks.size() && vChunks[numChunksUsed].pBig) ++numChunksUsed;
        currentChunk = numChunksUsed < vChunks.size() ? static_cast<std::uint32_t>(numChunksUsed) : addChunk(chunkSize);
        numChunksUsed = currentChunk + std::size_t{1};
        numUsed = 0;
    }
    std::uint32_t addChunk(std::uint32_t numItems) {
        ASSEX(vChunks.size() < (std::size_t{1} << (32 - chunkBits)));
        std::unique_ptr<T[]> pBig = numItems > chunkSize ? std::make_unique_for_overwrite<T[]>(numItems) : nullptr;
        T* const pItems = pBig ? pBig.get() : static_cast<T*>(memory.take(numItems * sizeof(T)));
        vChunks.push_back({pItems, std::move(pBig)});
        return static_cast<std::uint32_t>(vChunks.size() - 1);
    }

    // A block of the capacity for newSize, with the items of l; l's own block is released.
    std::uint32_t move(const List& l, std::uint32_t newSize) {
        const std::uint32_t offset = acquire(capacityFor(newSize));
        if (l.size == 0) return offset;
        std::copy_n(at(l.offset), l.size, at(offset));
        release(l.offset, capacityFor(l.size));
        return offset;
    }
    void shrink(List& l, std::uint32_t oldCapacity) {
        const std::uint32_t oldOffset = l.offset;
        if (l.size != 0) {
            l.offset = acquire(capacityFor(l.size));
            std::copy_n(at(oldOffset), l.size, at(l.offset));
        }
        release(oldOffset, oldCapacity);
    }

    std::vector<List> vLists;
    SlabMemory memory;
    std::vector<Chunk> vChunks;
    std::array<std::vector<std::uint32_t>, 64> vFree;  // offsets of free blocks, by class
    std::size_t numChunksUsed = 0;                     // chunks before this one are in use
    std::uint32_t currentChunk = 0;
    std::uint32_t numUsed = chunkSize;  // items given out in the current chunk
};

}  // namespace QUOR_ZEF
