#include "parallel/wordSort.h"

#include <hwy/contrib/sort/vqsort.h>

#include <algorithm>
#include <type_traits>

namespace QUOR_ZEF {

static_assert(std::is_same_v<uint64, std::uint64_t>);

void sortWords(uint64* pWords, std::size_t n) {
    // Making a Sorter allocates, which only pays for more than a handful.
    constexpr std::size_t minVectorSize = 64;
    if (n < minVectorSize) {
        std::sort(pWords, pWords + n);
        return;
    }
    const hwy::Sorter sorter;
    sorter(pWords, n, hwy::SortAscending());
}

}  // namespace QUOR_ZEF
