#include "parallel/sortMT.h"

namespace QUOR_ZEF {

void sortUniqueMT(std::vector<uint64>& v) {
    if (v.empty()) return;
    sortMT(v.begin(), v.end());
    // Without branches: duplicates come in no predictable order.
    std::size_t numUnique = 1;
    uint64 previous = v[0];
    for (std::size_t i = 1; i < v.size(); ++i) {
        const uint64 word = v[i];
        v[numUnique] = word;
        numUnique += word != previous;
        previous = word;
    }
    v.resize(numUnique);
}

}  // namespace QUOR_ZEF
