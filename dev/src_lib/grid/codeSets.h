#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "parallel/sortMT.h"
#include "zef/Point3.h"

// Sets of codes as sorted vectors without duplicates. Where a vector carries
// pairs, the code is the first component and alone decides. What has to sort
// does so in parallel, so nothing here may be called from a parallel loop.

namespace QUOR_ZEF {

inline uint64 codeOf(uint64 code) {
    return code;
}
template <class T>
uint64 codeOf(const std::pair<uint64, T>& entry) {
    return entry.first;
}

// Ascending codes; duplicates are allowed.
template <class T>
bool isSorted(const std::vector<T>& v) {
    return std::is_sorted(v.begin(), v.end(), [](const T& a, const T& b) { return codeOf(a) < codeOf(b); });
}

// No code twice, in whatever order. O(n) if sorted, otherwise a copy is sorted.
template <class T>
bool isUnique(const std::vector<T>& v) {
    const auto repeats = [](const T& a, const T& b) { return codeOf(a) == codeOf(b); };
    if (isSorted(v)) return std::adjacent_find(v.begin(), v.end(), repeats) == v.end();
    std::vector<uint64> vCopy(v.size());
    std::transform(v.begin(), v.end(), vCopy.begin(), [](const T& entry) { return codeOf(entry); });
    sortMT(vCopy.begin(), vCopy.end());
    return isUnique(vCopy);
}

// A failed assertion with this name in the place of its condition, unless bHolds.
void checkUnderName(bool bHolds, const std::string& name);

// Fail under the name if the codes aren't ascending, or one is there twice.
template <class T>
void checkSorted(const std::vector<T>& v, const std::string& name) {
    checkUnderName(isSorted(v), name);
}
template <class T>
void checkUnique(const std::vector<T>& v, const std::string& name) {
    checkUnderName(isUnique(v), name);
}

// True if no code is in both. The vectors may be in any order and stay as they
// are; copies are sorted where they aren't.
bool assert_disjoint(const std::vector<uint64>& vA, const std::vector<uint64>& vB);

inline bool containsCode(const std::vector<uint64>& vSorted, uint64 code) {
    return std::binary_search(vSorted.begin(), vSorted.end(), code);
}

// The entry with this code in a sorted vector, end() if there is none.
template <class T>
auto findCode(const std::vector<std::pair<uint64, T>>& vSorted, uint64 code) {
    const auto it = std::lower_bound(vSorted.begin(), vSorted.end(), code,
                                     [](const std::pair<uint64, T>& entry, uint64 c) { return entry.first < c; });
    return it != vSorted.end() && it->first == code ? it : vSorted.end();
}

// The entries with these codes, all of which are there.
template <class T>
std::vector<std::pair<uint64, T>> entriesOf(const std::vector<uint64>& vCodes,
                                            const std::vector<std::pair<uint64, T>>& vSorted) {
    std::vector<std::pair<uint64, T>> v;
    v.reserve(vCodes.size());
    for (const uint64 code : vCodes) v.push_back(*findCode(vSorted, code));
    return v;
}

// The codes of the entries, in their order.
template <class T>
std::vector<uint64> codesOf(const std::vector<std::pair<uint64, T>>& vEntries) {
    std::vector<uint64> vCodes(vEntries.size());
    std::transform(vEntries.begin(), vEntries.end(), vCodes.begin(), [](const auto& entry) { return entry.first; });
    return vCodes;
}

// Leaves the entries whose codes are listed or, with bListed false, are not. Both are sorted.
template <class T>
void keepListed(const std::vector<uint64>& vCodes, std::vector<std::pair<uint64, T>>& vEntries, bool bListed = true) {
    auto code = vCodes.begin();
    std::erase_if(vEntries, [&](const auto& entry) {
        while (code != vCodes.end() && *code < entry.first) ++code;
        return (code != vCodes.end() && *code == entry.first) != bListed;
    });
}

// Of sorted vectors, a sorted one: what is in both, in one of them, in vA only.
std::vector<uint64> intersection(const std::vector<uint64>& vA, const std::vector<uint64>& vB);
std::vector<uint64> unionOf(const std::vector<uint64>& vA, const std::vector<uint64>& vB);
std::vector<uint64> difference(const std::vector<uint64>& vA, const std::vector<uint64>& vB);

// Adds the cells that share a grid corner with these, sorted RCD.
void addBeside(std::vector<uint64>& vRCD);

// The connected components of a set of RCD, cells being connected when they
// share a grid corner. vRCD: any order, duplicates count once. vComponents is
// replaced: each component sorted, the components by their smallest code.
// O(n) for a sorted vRCD, about 130 ns a cell; up to 2^32 - 2 cells.
void createCC_RCD(const std::vector<uint64>& vRCD, std::vector<std::vector<uint64>>& vComponents);

}  // namespace QUOR_ZEF
