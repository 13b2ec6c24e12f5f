#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/PointSource.h"
#include "store/CodeMap.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// How points scatter about their surface, in world units.
struct Scatter {
    double deviation = -1.0;  // standard deviation along the normal; -1: not known
    double spacing = -1.0;    // side of the square that a point has for itself
};

// The noise of a cloud, all over and by place, from curved pieces of surface (quadrics) that are
// fitted to the points around a sample of them. The pieces grow while their points scatter as
// widely as they reach, since neighbours are no surface then; from there on larger ones
// would only follow the shape worse. Gaussian noise of up to a spacing is found to some percent;
// clean points have some thousandths of a spacing, also where a shape has creases.
// Steps of quantised depth that are wider than four points read as clean surface.
// Points that fill space have what fits them: a third of the reach, and more than a spacing.
//
// Does not change with the number of threads. Looks at 6,000 points at the most, one in
// twenty, and at fewer where they must look far. Reads all points one to five times: some 40
// nanoseconds each, and 10 microseconds for each one that is looked at, on all threads. Asking from several threads is
// safe.
class NoiseMap {
public:
    // Finite points; spacing: about their distance, above 0, to begin with.
    NoiseMap(const PointSource& points, double spacing);

    // The medians of all; -1 if points are too few for a surface.
    const Scatter& getMedian() const { return median; }
    // The medians of the samples in the block of a dozen spacings around, or in the
    // smallest larger one with nine of them. 20 nanoseconds.
    const Scatter& at(const Point3& p) const;

private:
    struct Level {
        double side = 0.0;  // of its blocks
        CodeMap numbers;    // of blocks by code
        std::vector<Scatter> vMedians;
    };
    uint64 codeOf(const Point3& p, double side) const;
    void addLevel(double side, const std::vector<Point3>& vPlaces, const std::vector<Scatter>& vFound);

    Point3 low;
    Scatter median;
    std::vector<Level> vLevels;  // the smallest blocks first
};

}  // namespace QUOR_ZEF
