#pragma once

#include <cmath>

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Of length 1; zero where there is none.
inline Vector3 directionTo(const Point3& place, const Point3& from) {
    const Vector3 way = place - from;
    const double length = way.length();
    return std::isfinite(length) && length > 0.0 ? way / length : Vector3();
}

}  // namespace QUOR_ZEF
