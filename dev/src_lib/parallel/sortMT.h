#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/tools.h"
#include "frame/types.h"
#include "parallel/blockSort.h"
#include "parallel/concurrency.h"
#include "parallel/keyPacking.h"
#include "parallel/parallelTransform.h"
#include "parallel/wordSort.h"
#include "store/ScratchArray.h"

// The sorts of all large vectors, on the threads that the loops use; from inside a loop,
// on the calling one. Iterators are those of std::vector, or pointers. comp must not
// throw; where memory is missing, the range holds the same elements in any order.

namespace QUOR_ZEF {

// Orders pairs by their first component only.
template <class T>
struct Func_ltFirstComponent {
    bool operator()(const T& a, const T& b) const { return a.first < b.first; }
};

// Sorts by comp, a strict weak order. Elements that comp holds equal end up in
// any order, which can depend on the thread count. O(n log n); input that is
// sorted already, or strictly reversed, takes one sweep. Fastest for uint64 and
// pointers with std::less, then for pairs with an arithmetic or pointer first
// component with std::less or Func_ltFirstComponent. In place, but for pairs of
// up to 16 bytes with a uint64 key and Func_ltFirstComponent: these need what
// sortStableByFirstMT needs.
template <class Iterator, class Comp>
void sortMT(Iterator first, Iterator last, const Comp& comp);

template <class Iterator>
void sortMT(Iterator first, Iterator last) {
    sortMT(first, last, std::less<std::iter_value_t<Iterator>>());
}

// Sorts pairs by their first component; see sortMT. NaN has no place in the order:
// callers map it to a number beforehand.
template <class Iterator>
void sortByFirstMT(Iterator first, Iterator last) {
    sortMT(first, last, Func_ltFirstComponent<std::iter_value_t<Iterator>>());
}

// Sorts pairs with a uint64 as first component by (first component, index
// before the sort), whatever the thread count: the choice where equal keys carry
// different payloads. Takes a second array of the same size and 8 bytes per
// element while it runs; faster than the sort in place.
template <class Iterator>
void sortStableByFirstMT(Iterator first, Iterator last);

// Sorts ascending and leaves one of each.
void sortUniqueMT(std::vector<uint64>& v);

// A value near the median, taken from a sample of up to 1999 elements at equal
// distances. The range must not be empty.
template <class Iterator, class Comp>
std::iter_value_t<Iterator> estimateMid2(Iterator first, Iterator last, const Comp& comp) {
    const std::ptrdiff_t n = last - first;
    const std::ptrdiff_t stride = std::max<std::ptrdiff_t>(n / 1000, 1);
    std::vector<std::iter_value_t<Iterator>> vSample;
    vSample.reserve(static_cast<std::size_t>((n + stride - 1) / stride));
    for (std::ptrdiff_t i = 0; i < n; i += stride) vSample.push_back(first[i]);
    std::sort(vSample.begin(), vSample.end(), comp);
    ASSEX(!vSample.empty());
    return vSample[vSample.size() / 2];
}

// Moves what is below the pivot to the front; result is where the others begin.
template <class Iterator, class Comp>
struct PartitionTask2 {
    std::iter_value_t<Iterator> pivot;
    Iterator first, last, result;
    const Comp& comp;

    void operator()(int /*worker*/) {
        result = blockPartition(first, last, [this](const auto& element) { return comp(element, pivot); });
    }
};

namespace detail {

template <class T>
struct SimpleKey : std::false_type {};  // pairs whose first components compare in an instruction
template <class K, class V>
struct SimpleKey<std::pair<K, V>> : std::bool_constant<std::is_arithmetic_v<K> || std::is_pointer_v<K>> {};

template <class T>
struct CodeKey : std::false_type {};  // pairs with a uint64 key
template <class V>
struct CodeKey<std::pair<uint64, V>> : std::true_type {};

template <class T, class Comp>
constexpr bool isLess = std::is_same_v<Comp, std::less<T>> || std::is_same_v<Comp, std::less<>>;

template <class T, class Comp>
constexpr bool isWordSort =
    (std::is_same_v<T, uint64> || (std::is_pointer_v<T> && sizeof(T) == sizeof(uint64))) && isLess<T, Comp>;

template <class T, class Comp>
constexpr bool isKeySort = SimpleKey<T>::value && (isLess<T, Comp> || std::is_same_v<Comp, Func_ltFirstComponent<T>>);

// From this size on the workers beat the calling thread.
template <class T, class Comp>
constexpr std::ptrdiff_t parallelSize = isWordSort<T, Comp>  ? 30'000
                                        : isKeySort<T, Comp> ? 5'000
                                                             : 1'000;

// Sorts by first component, then the runs of equal ones by comp.
template <class Iterator, class Comp>
void sortRuns(Iterator first, Iterator last, const Comp& comp) {
    blockSort(first, last, Func_ltFirstComponent<std::iter_value_t<Iterator>>());
    while (first != last) {
        Iterator end = first + 1;
        while (end != last && !(first->first < end->first)) ++end;
        if (end - first > 1) std::sort(first, end, comp);
        first = end;
    }
}

// The fastest sort on one thread that fits the element type.
template <class Iterator, class Comp>
void sortSerial(Iterator first, Iterator last, const Comp& comp) {
    using T = std::iter_value_t<Iterator>;
    static_assert(std::contiguous_iterator<Iterator>);
    if constexpr (isWordSort<T, Comp>) {
        sortWords(reinterpret_cast<uint64*>(std::to_address(first)), static_cast<std::size_t>(last - first));
    } else if constexpr (isKeySort<T, Comp> && isLess<T, Comp>) {
        sortRuns(first, last, comp);
    } else if constexpr (isKeySort<T, Comp>) {
        blockSort(first, last, comp);
    } else {
        std::sort(first, last, comp);
    }
}

// True if isPair(a, b) holds for all neighbours a, b of the range.
template <class Iterator, class IsPair>
bool allNeighbours(Iterator first, Iterator last, const IsPair& isPair) {
    constexpr std::size_t minChunk = 20'000;
    // Random input ends here, on the calling thread.
    const Iterator probeEnd = first + std::min<std::ptrdiff_t>(last - first, 100);
    const auto isNoPair = [&](const auto& a, const auto& b) { return !isPair(a, b); };
    if (std::adjacent_find(first, probeEnd, isNoPair) != probeEnd) return false;
    const std::size_t numPairs = static_cast<std::size_t>(last - first) - 1;
    const auto vKept = parallelChunkResults<char>(numPairs, minChunk, [&](std::size_t begin, std::size_t end) {
        const Iterator chunkEnd = first + static_cast<std::ptrdiff_t>(end) + 1;
        return std::adjacent_find(first + static_cast<std::ptrdiff_t>(begin), chunkEnd, isNoPair) == chunkEnd;
    });
    return std::find(vKept.begin(), vKept.end(), false) == vKept.end();
}

// Settles ranges that are sorted or strictly reversed, keeping the order of
// equal elements; false if there is something left to sort. n is at least 2.
template <class Iterator, class Comp>
bool sortMonotone(Iterator first, Iterator last, const Comp& comp) {
    constexpr std::size_t minChunk = 20'000;
    if (allNeighbours(first, last, [&](const auto& a, const auto& b) { return !comp(b, a); })) return true;
    if (!allNeighbours(first, last, [&](const auto& a, const auto& b) { return comp(b, a); })) return false;
    const std::size_t numSwaps = static_cast<std::size_t>(last - first) / 2;
    parallelChunks(numSwaps, minChunk, [&](std::size_t begin, std::size_t end) {
        const auto i = static_cast<std::ptrdiff_t>(begin);
        std::swap_ranges(first + i, first + static_cast<std::ptrdiff_t>(end), std::make_reverse_iterator(last - i));
    });
    return true;
}

}  // namespace detail

// Sorts one leaf on the worker.
template <class Iterator, class Comp>
struct SortTask2 {
    Iterator first, last;
    const Comp& comp;

    void operator()(int /*worker*/) { detail::sortSerial(first, last, comp); }
};

namespace detail {

using IndexRange = std::pair<std::ptrdiff_t, std::ptrdiff_t>;

// The ranges of the next generation: each one cut in two at its estimated
// median, empty ones just doubled. All ranges are partitioned at the same time.
template <class Iterator, class Comp>
std::vector<IndexRange> partitionAll(Iterator first, const std::vector<IndexRange>& vRanges, const Comp& comp) {
    std::vector<PartitionTask2<Iterator, Comp>> vTasks;
    for (const auto& [i, j] : vRanges) {
        if (i == j) continue;
        vTasks.push_back({estimateMid2(first + i, first + j, comp), first + i, first + j, first + i, comp});
    }
    runTasks(vTasks);

    std::vector<IndexRange> vNext;
    vNext.reserve(2 * vRanges.size());
    auto it_task = vTasks.begin();
    for (const auto& [i, j] : vRanges) {
        const std::ptrdiff_t m = i == j ? i : it_task++->result - first;
        vNext.emplace_back(i, m);
        vNext.emplace_back(m, j);
    }
    return vNext;
}

template <class Iterator, class Comp>
void sortOnPool(Iterator first, Iterator last, const Comp& comp, unsigned numThreads) {
    const std::ptrdiff_t vectorSize = last - first;
    std::vector<std::vector<IndexRange>> vGenerations{{{0, vectorSize}}};
    while (vGenerations.back().size() < numThreads) {
        vGenerations.push_back(partitionAll(first, vGenerations.back(), comp));
    }
    std::vector<SortTask2<Iterator, Comp>> vTasks;
    std::ptrdiff_t sumSize = 0;
    for (const auto& [i, j] : vGenerations.back()) {
        if (i == j) continue;
        sumSize += j - i;
        vTasks.push_back({first + i, first + j, comp});
    }
    runTasks(vTasks);
    ASSEX(sumSize==vectorSize);
}

}  // namespace detail

template <class Iterator, class Comp>
void sortMT(Iterator first, Iterator last, const Comp& comp) {
    using T = std::iter_value_t<Iterator>;
    const std::ptrdiff_t n = last - first;
    if (n < detail::parallelSize<T, Comp>) return detail::sortSerial(first, last, comp);
    if constexpr (detail::CodeKey<T>::value && sizeof(T) <= 16 && std::is_same_v<Comp, Func_ltFirstComponent<T>>) {
        sortStableByFirstMT(first, last);
    } else {
        if (detail::sortMonotone(first, last, comp)) return;
        const unsigned numThreads = getLoopThreads(static_cast<std::size_t>(n));
        if (numThreads < 2) return detail::sortSerial(first, last, comp);
        detail::sortOnPool(first, last, comp, numThreads);
    }
}

namespace detail {

// Moves the element that each packed word names to the word's place, by way of
// a second array. T's moves must not throw. Once the first element is moved, nothing
// fails any more.
template <class Iterator>
void permute(Iterator first, const ScratchArray<uint64>& vPacked, uint64 indexMask) {
    using T = std::iter_value_t<Iterator>;
    static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>);
    constexpr std::size_t minChunk = 5'000;
    const std::vector<std::size_t> vBounds = getChunkBounds(vPacked.size(), minChunk);
    const ScratchArray<T> buffer(vPacked.size());
    T* const pBuffer = buffer.data();
    parallelChunks(vBounds, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            std::construct_at(pBuffer + i, std::move(first[static_cast<std::ptrdiff_t>(vPacked[i] & indexMask)]));
        }
    });
    parallelChunks(vBounds, [&](std::size_t begin, std::size_t end) {
        std::move(pBuffer + begin, pBuffer + end, first + static_cast<std::ptrdiff_t>(begin));
        std::destroy(pBuffer + begin, pBuffer + end);
    });
}

// The runs of equal packed keys, where the packing had to leave out low bits, are
// sorted by their whole keys: short ones on the workers, long ones one by one.
template <class Iterator>
void sortEqualPackings(Iterator first, const ScratchArray<uint64>& vPacked, int indexBits) {
    using Comp = Func_ltFirstComponent<std::iter_value_t<Iterator>>;
    constexpr std::size_t minChunk = 10'000;
    constexpr std::ptrdiff_t insertionSize = 30;
    constexpr std::ptrdiff_t longRun = 2'000;
    const auto at = [&](std::size_t i) { return vPacked[i] >> indexBits; };
    const auto sortRunsFrom = [&](std::size_t begin, std::size_t end) {
        std::vector<IndexRange> vLong;
        // A run belongs to the chunk where it starts.
        while (begin != 0 && begin < end && at(begin) == at(begin - 1)) ++begin;
        while (begin < end) {
            std::size_t runEnd = begin + 1;
            while (runEnd < vPacked.size() && at(runEnd) == at(begin)) ++runEnd;
            const IndexRange run(begin, runEnd);
            if (run.second - run.first > longRun) {
                vLong.push_back(run);
            } else if (run.second - run.first > insertionSize) {
                std::stable_sort(first + run.first, first + run.second, Comp());
            } else {
                insertionSort(first + run.first, first + run.second, Comp());
            }
            begin = runEnd;
        }
        return vLong;
    };
    for (const auto& vLong : parallelChunkResults<std::vector<IndexRange>>(vPacked.size(), minChunk, sortRunsFrom)) {
        for (const auto& [i, j] : vLong) sortStableByFirstMT(first + i, first + j);
    }
}

}  // namespace detail

template <class Iterator>
void sortStableByFirstMT(Iterator first, Iterator last) {
    using T = std::iter_value_t<Iterator>;
    static_assert(detail::CodeKey<T>::value, "the key must be a uint64");
    constexpr std::size_t minPackedSize = 500;
    constexpr std::size_t minChunk = 10'000;
    const std::size_t n = static_cast<std::size_t>(last - first);
    const auto key = [&](std::size_t i) { return first[static_cast<std::ptrdiff_t>(i)].first; };
    if (n < minPackedSize) return std::stable_sort(first, last, Func_ltFirstComponent<T>());
    if (detail::sortMonotone(first, last, Func_ltFirstComponent<T>())) return;

    uint64 varying = 0;
    for (const uint64 bits : parallelChunkResults<uint64>(n, minChunk, [&](std::size_t begin, std::size_t end) {
             uint64 seen = 0;
             for (std::size_t i = begin; i < end; ++i) seen |= key(i) ^ key(0);
             return seen;
         })) {
        varying |= bits;
    }
    const int indexBits = static_cast<int>(std::bit_width(n - 1));
    const KeyPacking packing(varying, 64 - indexBits);
    const ScratchArray<uint64> vPacked(n);
    parallelChunks(n, minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPacked[i] = packing.pack(key(i)) << indexBits | i;
    });
    sortMT(vPacked.data(), vPacked.data() + n);
    detail::permute(first, vPacked, (uint64{1} << indexBits) - 1);
    if (!packing.bExact) detail::sortEqualPackings(first, vPacked, indexBits);
}

}  // namespace QUOR_ZEF
