#pragma once

#include <cstddef>
#include <vector>

#include "frame/Run.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

// Of pairs of a cell and a node, in any order, leaves one for each cell, ascending: that of the node made first.
// idOf(second): the id of the node. O(n log n), one parallel sort.
template <class Pair, class IdOf>
void keepFirstPerCell(std::vector<Pair>& vPairs, const IdOf& idOf) {
    sortStableByFirstMT(vPairs.begin(), vPairs.end());
    std::size_t num = 0;
    for (std::size_t i = 0; i < vPairs.size(); ++i) {
        pollRun(i);
        if (num == 0 || vPairs[num - 1].first != vPairs[i].first)
            vPairs[num++] = vPairs[i];
        else if (idOf(vPairs[i].second) < idOf(vPairs[num - 1].second))
            vPairs[num - 1] = vPairs[i];
    }
    vPairs.resize(num);
}

}  // namespace QUOR_ZEF
