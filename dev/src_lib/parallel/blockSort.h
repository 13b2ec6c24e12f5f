#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

// Quicksort without unpredictable branches, for comparisons that are a few
// instructions: the outcome of each becomes an offset, not a jump, so random input
// costs no mispredictions.

namespace QUOR_ZEF {

// Moves the elements with isLeft(element) to the front, in place and in any
// order, and returns where the others begin.
template <class Iterator, class IsLeft>
Iterator blockPartition(Iterator first, Iterator last, const IsLeft& isLeft) {
    constexpr std::ptrdiff_t blockSize = 64;
    std::array<std::uint8_t, blockSize> aLeft{}, aRight{};  // offsets of the misplaced in the two outer blocks
    std::ptrdiff_t numLeft = 0, numRight = 0, startLeft = 0, startRight = 0;
    while (last - first >= 2 * blockSize) {
        if (numLeft == 0) {
            startLeft = 0;
            for (std::ptrdiff_t i = 0; i < blockSize; ++i) {
                aLeft[static_cast<std::size_t>(numLeft)] = static_cast<std::uint8_t>(i);
                numLeft += !isLeft(first[i]);
            }
        }
        if (numRight == 0) {
            startRight = 0;
            for (std::ptrdiff_t i = 0; i < blockSize; ++i) {
                aRight[static_cast<std::size_t>(numRight)] = static_cast<std::uint8_t>(i);
                numRight += isLeft(last[-1 - i]);
            }
        }
        const std::ptrdiff_t numSwaps = std::min(numLeft, numRight);
        for (std::ptrdiff_t i = 0; i < numSwaps; ++i) {
            std::iter_swap(first + aLeft[static_cast<std::size_t>(startLeft + i)],
                           last - 1 - aRight[static_cast<std::size_t>(startRight + i)]);
        }
        startLeft += numSwaps;
        startRight += numSwaps;
        numLeft -= numSwaps;
        numRight -= numSwaps;
        if (numLeft == 0) first += blockSize;
        if (numRight == 0) last -= blockSize;
    }
    return std::partition(first, last, isLeft);
}

template <class Iterator, class Comp>
void insertionSort(Iterator first, Iterator last, const Comp& comp) {
    if (first == last) return;
    for (Iterator it = first + 1; it != last; ++it) {
        if (!comp(*it, *(it - 1))) continue;
        auto element = std::move(*it);
        Iterator hole = it;
        do {
            *hole = std::move(*(hole - 1));
            --hole;
        } while (hole != first && comp(element, *(hole - 1)));
        *hole = std::move(element);
    }
}

// The middle one of three elements.
template <class Iterator, class Comp>
Iterator medianOf3(Iterator a, Iterator b, Iterator c, const Comp& comp) {
    if (comp(*b, *a)) std::swap(a, b);
    if (comp(*c, *b)) b = comp(*c, *a) ? a : c;
    return b;
}

template <class Iterator, class Comp>
Iterator choosePivot(Iterator first, Iterator last, const Comp& comp) {
    const std::ptrdiff_t n = last - first;
    const std::ptrdiff_t step = n / 8;
    const Iterator mid = first + n / 2;
    if (n < 128) return medianOf3(first + step, mid, last - 1 - step, comp);
    return medianOf3(medianOf3(first, first + step, first + 2 * step, comp),
                     medianOf3(mid - step, mid, mid + step, comp),
                     medianOf3(last - 1 - 2 * step, last - 1 - step, last - 1, comp), comp);
}

template <class Iterator, class Comp>
void blockSort(Iterator first, Iterator last, const Comp& comp, int maxDepth) {
    constexpr std::ptrdiff_t insertionSize = 24;
    while (last - first > insertionSize) {
        if (maxDepth-- == 0) return std::sort(first, last, comp);
        const auto pivot = *choosePivot(first, last, comp);
        Iterator mid = blockPartition(first, last, [&](const auto& element) { return comp(element, pivot); });
        if (mid == first) {
            // Nothing is below the pivot: what equals it is in place at the front.
            first = blockPartition(first, last, [&](const auto& element) { return !comp(pivot, element); });
        } else if (mid - first < last - mid) {
            blockSort(first, mid, comp, maxDepth);
            first = mid;
        } else {
            blockSort(mid, last, comp, maxDepth);
            last = mid;
        }
    }
    insertionSort(first, last, comp);
}

// Sorts in place, O(n log n), one thread.
template <class Iterator, class Comp>
void blockSort(Iterator first, Iterator last, const Comp& comp) {
    blockSort(first, last, comp, 2 * static_cast<int>(std::bit_width(static_cast<std::size_t>(last - first))));
}

}  // namespace QUOR_ZEF
