#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "grid/Calc.h"

// Shapes made of cells, as sorted packed codes, off the border of the grid.

namespace zef_test {

using QUOR_ZEF::packRCD;
using QUOR_ZEF::uint64;

// A grid of unit cells at the origin.
inline QUOR_ZEF::Calc unitGrid() {
    const double size = 1 << 20;
    return QUOR_ZEF::Calc(0, 0, 0, size, size, size, 20);
}

// Cells whose centre is within halfThickness of the sphere around a corner of the grid.
inline std::vector<uint64> voxelSphere(double radius, double halfThickness, int center) {
    std::vector<uint64> v;
    const int reach = static_cast<int>(radius + halfThickness) + 1;
    for (int x = -reach; x < reach; ++x) {
        for (int y = -reach; y < reach; ++y) {
            for (int z = -reach; z < reach; ++z) {
                const double r = std::hypot(x + 0.5, y + 0.5, z + 0.5);
                if (std::abs(r - radius) > halfThickness) continue;
                v.push_back(packRCD(static_cast<uint64>(center + x), static_cast<uint64>(center + y),
                                    static_cast<uint64>(center + z)));
            }
        }
    }
    return v;
}

// Cells whose offset from the cell at (center, center, center) has this length, rounded: a
// closed shell without a hole to its inside.
inline std::vector<uint64> voxelShell(int radius, int center) {
    std::vector<uint64> v;
    for (int x = -radius; x <= radius; ++x) {
        for (int y = -radius; y <= radius; ++y) {
            for (int z = -radius; z <= radius; ++z) {
                if (std::lround(std::hypot(x, y, z)) != radius) continue;
                v.push_back(packRCD(static_cast<uint64>(center + x), static_cast<uint64>(center + y),
                                    static_cast<uint64>(center + z)));
            }
        }
    }
    return v;
}

// nx * ny columns of cells in z; each has the cells that a few heights with a
// normal deviation (in cells) fall into, so one or more.
inline std::vector<uint64> noisySheet(int nx, int ny, double deviation, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(0.0, deviation);
    std::set<uint64> s;
    for (int x = 0; x < nx; ++x) {
        for (int y = 0; y < ny; ++y) {
            for (int k = 0; k < 4; ++k) {
                const double height = std::floor(100.5 + noise(random));
                s.insert(
                    packRCD(static_cast<uint64>(100 + x), static_cast<uint64>(100 + y), static_cast<uint64>(height)));
            }
        }
    }
    return {s.begin(), s.end()};
}

// Boxes of cells with both corners included.
inline std::vector<uint64> voxelBox(int x0, int y0, int z0, int x1, int y1, int z1) {
    std::vector<uint64> v;
    for (int x = x0; x <= x1; ++x) {
        for (int y = y0; y <= y1; ++y) {
            for (int z = z0; z <= z1; ++z) {
                v.push_back(packRCD(static_cast<uint64>(x), static_cast<uint64>(y), static_cast<uint64>(z)));
            }
        }
    }
    return v;
}

// Cells of the cube of this side at (lowest, lowest, lowest), each with the probability density.
template <class Random>
std::vector<uint64> randomCells(Random& random, int lowest, int side, double density) {
    std::vector<uint64> v = voxelBox(lowest, lowest, lowest, lowest + side - 1, lowest + side - 1, lowest + side - 1);
    std::bernoulli_distribution missing(1 - density);
    v.erase(std::remove_if(v.begin(), v.end(), [&](uint64) { return missing(random); }), v.end());
    return v;
}

}  // namespace zef_test
