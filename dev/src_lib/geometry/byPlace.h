#pragma once

#include <cstddef>
#include <tuple>
#include <vector>

#include "frame/types.h"
#include "geometry/PointSource.h"
#include "zef/Point3.h"

// What makes results independent of the order in which points come.

namespace QUOR_ZEF {

// By coordinates, and where these are equal by colour: whichever of two points that neither comes before the other
// is taken first, the result is the same.
inline bool comesBefore(const Point3& p, const Point3& q) {
    if (p.px != q.px) return p.px < q.px;
    if (p.py != q.py) return p.py < q.py;
    if (p.pz != q.pz) return p.pz < q.pz;
    return std::tie(p.bHasColor, p.r, p.g, p.b, p.a) < std::tie(q.bHasColor, q.r, q.g, q.b, q.a);
}

// Made of the coordinates, as good as drawn; 0 and -0 are one. Finite ones only.
uint64 numberOfPlace(double x, double y, double z);

// The positions of num finite points, or of all if there are fewer, as if they were drawn, but by their coordinates
// alone: the same places in the same sequence, whatever the order of the points. Nearly the same places are no likelier
// to be taken together; of equal points all are taken, or as many as are still wanted. Parallel; some 5 nanoseconds a
// point.
std::vector<std::size_t> drawByPlace(const PointSource& points, std::size_t num);

}  // namespace QUOR_ZEF
