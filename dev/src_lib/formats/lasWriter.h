#pragma once

#include <cstdint>
#include <span>

#include "bytes/AtomicFile.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// What to write; classes and intensities are empty or have one entry for each point.
struct LasContent {
    std::span<const Point3> points;
    std::span<const std::uint8_t> classes;
    std::span<const float> intensities;
};

struct LasOptions {
    double spacing = 0.0;  // of the points; 0 if it is not known
    bool bNew = false;     // LAS 1.4 also where 1.2 would do
};

// LAS 1.2 with the point formats 0 and 2, or 1.4 with 6 and 7 where that is asked for, where
// there are more than 2^32 - 1 points, or a class above 31. The scale is a power of ten, the same
// for all axes, so that rounding moves a coordinate by a thousandth of the spacing at the most,
// or, without a spacing, the finest that 32 bits hold; finer, if that holds all coordinates as
// they are; what 32 bits cannot hold is rounded further. Offsets are round numbers. Colours take 16 bits. Intensities
// are rounded and kept within 16 bits; fractions of 0 to 1 are spread over them. The same content gives the same bytes:
// there is no date in them. Throws a SaveError for coordinates that are no numbers. One thread, O(n).
void writeLas(AtomicFile& file, const LasContent& content, const LasOptions& options = {});

}  // namespace QUOR_ZEF
