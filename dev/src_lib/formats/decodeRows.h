#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "formats/PointStream.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

// What the points of a format have beside their places.
struct RowShape {
    bool bIntensities = false, bNormals = false;

    void resize(std::size_t size, PointBlock& out) const {
        out.points.resize(size);
        if (bIntensities) out.intensities.resize(size);
        if (bNormals) out.normals.resize(size);
    }
};

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

struct DecodedRows {
    std::size_t numGood = 0;     // rows before the first that is damaged
    std::uint64_t numEmpty = 0;  // of these, left out
};

// Appends num rows to a block, at least minRows a thread. decode(begin, end, first, vKeep) fills
// the points first + begin to first + end of it, notes for each row whether it is to be kept, and
// returns end or the first row that is damaged; that one and what follows is left out.
template <class Decode>
DecodedRows decodeRows(std::size_t num, std::size_t minRows, const RowShape& shape, PointBlock& out,
                       const Decode& decode) {
    const std::size_t first = out.points.size();
    shape.resize(first + num, out);
    std::vector<char> vKeep(num);
    DecodedRows result{num, 0};
    const auto decodeChunk = [&](std::size_t begin, std::size_t end) {
        const std::size_t stop = decode(begin, end, first, vKeep);
        return stop == end ? num : stop;
    };
    for (const std::size_t stop : parallelChunkResults<std::size_t>(num, minRows, decodeChunk))
        result.numGood = std::min(result.numGood, stop);
    vKeep.resize(result.numGood);
    shape.resize(first + result.numGood, out);
    result.numEmpty = keepOnly(vKeep, first, out);
    return result;
}

}  // namespace QUOR_ZEF
