#include "geometry/PlaceIndex.h"

#include <algorithm>
#include <utility>

namespace QUOR_ZEF {

PlaceIndex::PlaceIndex(const std::vector<Point3>& vPlaces, const std::vector<std::uint32_t>& vWhich, double ballRadius)
    : radius(ballRadius), blocks(8 * vWhich.size()) {
    if (vPlaces.empty()) return;
    low = vPlaces.front();
    for (const Point3& p : vPlaces) low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
    // Blocks are cut off towards zero, so that those at zero would be wider.
    low.set(low.px - 3.0 * radius, low.py - 3.0 * radius, low.pz - 3.0 * radius);
    vEntries.reserve(8 * vWhich.size());
    const Vector3 reach(radius, radius, radius);
    for (const std::uint32_t which : vWhich)
        forEachBlock(vPlaces[which] + reach * -1.0, vPlaces[which] + reach,
                     [&](const Block& block) { add(block, which); });
}

void PlaceIndex::add(const Block& block, std::uint32_t which) {
    const auto entry = static_cast<std::uint32_t>(vEntries.size());
    vEntries.push_back({which});
    const std::uint32_t first = blocks.insert(codeOf(block), entry);
    if (first != entry) vEntries[entry].next = std::exchange(vEntries[first].next, entry);
}

}  // namespace QUOR_ZEF
