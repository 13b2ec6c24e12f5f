#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace QUOR_ZEF {

// A queue that gives the least of its entries, by operator<; equal ones in any, but
// always the same order. Four children a node: half the levels of a binary heap, and
// those of a node lie side by side.
template <class T>
class MinHeap {
public:
    bool empty() const { return vEntries.empty(); }
    // All at once. O(n).
    void fill(std::vector<T> v) {
        vEntries = std::move(v);
        for (std::size_t i = vEntries.size() / numChildren + 1; i-- > 0;)
            if (i < vEntries.size()) sink(i, vEntries[i]);
    }
    void push(const T& entry) {
        vEntries.push_back(entry);
        rise(vEntries.size() - 1, entry);
    }
    // Not empty.
    T pop() {
        const T least = vEntries.front(), last = vEntries.back();
        vEntries.pop_back();
        if (!vEntries.empty()) sink(0, last);
        return least;
    }

private:
    static constexpr std::size_t numChildren = 4;

    void rise(std::size_t i, const T entry) {
        while (i > 0) {
            const std::size_t parent = (i - 1) / numChildren;
            if (!(entry < vEntries[parent])) break;
            vEntries[i] = vEntries[parent];
            i = parent;
        }
        vEntries[i] = entry;
    }
    void sink(std::size_t i, const T entry) {
        for (;;) {
            const std::size_t first = numChildren * i + 1, end = std::min(first + numChildren, vEntries.size());
            if (first >= end) break;
            std::size_t least = first;
            for (std::size_t child = first + 1; child < end; ++child)
                if (vEntries[child] < vEntries[least]) least = child;
            if (!(vEntries[least] < entry)) break;
            vEntries[i] = vEntries[least];
            i = least;
        }
        vEntries[i] = entry;
    }

    std::vector<T> vEntries;
};

}  // namespace QUOR_ZEF
