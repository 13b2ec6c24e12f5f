#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "zef/Vector3.h"

namespace QUOR_ZEF {

// What is seen from a place all around, as the nearest distance in each bin of the faces of
// a cube. A face takes memory when something is seen on it.
class Picture {
public:
    explicit Picture(std::size_t numPerFace_) : numPerFace(numPerFace_) {}  // bins along an edge

    // Returns the bin. The way has a length, and the distance is that length.
    std::size_t add(const Vector3& way, double distance);

    // Whether what lies in the bin, behind these distances, is behind something there and in
    // the bins beside it: at the outline of what is in front, a bin holds some of both.
    bool isHidden(std::size_t bin, double before) const;

    // The share that is empty between what is seen, both along rows and along columns.
    double shareOfGaps() const;

private:
    std::size_t numPerFace;
    std::array<std::vector<double>, 6> vNearest;  // by face, row after row; infinity for empty bins
};

}  // namespace QUOR_ZEF
