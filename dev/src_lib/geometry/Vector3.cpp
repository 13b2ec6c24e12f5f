#include "zef/Vector3.h"

#include <algorithm>
#include <iostream>
#include <limits>

namespace QUOR_ZEF {

double Vector3::getCartesian(int i) const {
    if (i == 0) return vx;
    if (i == 1) return vy;
    if (i == 2) return vz;
    std::cerr << "getCartesian for i=" << i << std::endl;
    return std::numeric_limits<double>::max();
}

double Vector3::getMaxComponent() const {
    if (vx >= vy && vx >= vz) return vx;
    return vy >= vz ? vy : vz;
}

double Vector3::getMaxAbsComponent() const {
    return std::max({std::abs(vx), std::abs(vy), std::abs(vz)});
}

int Vector3::getMaxAbsIndex() const {
    const double x = std::abs(vx), y = std::abs(vy), z = std::abs(vz);
    if (x >= y && x >= z) return 0;
    return y < z ? 2 : 1;
}

Vector3 normalize(const Vector3& v) {
    const double length = v.length();
    return length <= 0.0 ? Vector3() : v / length;
}

}  // namespace QUOR_ZEF
