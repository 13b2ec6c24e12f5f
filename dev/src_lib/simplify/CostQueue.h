#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "store/MinHeap.h"

namespace QUOR_ZEF {

// A queue that gives the least of its entries, by operator<, which orders by `cost` before
// all else: 0 or more, and finite. Entries of about one cost wait together, unsorted, and
// become a heap when it is their turn: small enough for the caches, without those that
// are outdated by then, and never at all for costs that are not reached.
template <class T>
class CostQueue {
public:
    CostQueue() : vWaiting(numRanges) {}

    void push(const T& entry) {
        const std::size_t range = rangeOf(entry.cost);
        if (range < nextRange) {
            heap.push(entry);
        } else {
            vWaiting[range].push_back(entry);
        }
    }
    // False if nothing is left. Entries for which isOutdated(entry) is true may be left out.
    template <class F>
    bool pop(T& entry, const F& isOutdated) {
        while (heap.empty()) {
            if (nextRange == numRanges) return false;
            std::vector<T> vTurn = std::exchange(vWaiting[nextRange++], {});
            std::erase_if(vTurn, isOutdated);
            heap.fill(std::move(vTurn));
        }
        entry = heap.pop();
        return true;
    }

private:
    // The bits of numbers that are not negative have their order. The first ones are the
    // exponent; each range is 1/32 of what has one exponent.
    static constexpr int numLeftOut = 47;
    static constexpr std::size_t numRanges = std::size_t{1} << (63 - numLeftOut);

    static std::size_t rangeOf(double cost) { return std::bit_cast<std::uint64_t>(cost) >> numLeftOut; }

    std::vector<std::vector<T>> vWaiting;  // by range
    std::size_t nextRange = 0;             // those below it are in the heap
    MinHeap<T> heap;
};

}  // namespace QUOR_ZEF
