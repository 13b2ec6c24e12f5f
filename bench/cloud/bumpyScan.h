#pragma once

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "zef/Point3.h"

// What the library measures, about, for random points on an area of 4 pi.
inline double spacingOfScan(std::size_t num) {
    return std::sqrt(4.0 * M_PI / static_cast<double>(num) * 1.5396);
}

// Random points (seed 1) on a unit sphere with three waves around and along, off it
// along the radius by up to 0.3 of that spacing. Within 1.4 of the origin.
inline std::vector<QUOR_ZEF::Point3> makeBumpyScan(std::size_t num) {
    using QUOR_ZEF::Vector3;
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<QUOR_ZEF::Point3> vPoints;
    vPoints.reserve(num);
    const double noise = 0.3 * spacingOfScan(num);
    while (vPoints.size() < num) {
        const Vector3 v(unit(random), unit(random), unit(random));
        if (v.sqLength() > 1.0 || v.sqLength() < 0.01) continue;
        const Vector3 n = normalize(v);
        const double bump = 0.1 * std::sin(3.0 * std::atan2(n.vy, n.vx)) * std::sin(3.0 * n.vz);
        vPoints.push_back(QUOR_ZEF::Point3() + n * (1.0 + bump + noise * unit(random)));
    }
    return vPoints;
}
