#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// Takes out of the last vKeep.size() points of a block, which begin at first, those that are
// not to be kept, with all that belongs to them. Returns how many.
inline std::uint64_t keepOnly(const std::vector<char>& vKeep, std::size_t first, PointBlock& out) {
    const auto numOut = static_cast<std::uint64_t>(std::count(vKeep.begin(), vKeep.end(), 0));
    const auto keep = [&](auto& v) {
        if (v.empty()) return;
        std::size_t at = first;
        for (std::size_t i = 0; i < vKeep.size(); ++i)
            if (vKeep[i] != 0) v[at++] = v[first + i];
        v.resize(at);
    };
    if (numOut == 0) return 0;
    keep(out.points);
    keep(out.normals);
    keep(out.classes);
    keep(out.intensities);
    return numOut;
}

}  // namespace QUOR_ZEF
