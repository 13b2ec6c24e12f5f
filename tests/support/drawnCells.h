#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "support/voxels.h"

// Clouds of cells for tests against recorded results: raw draws alone decide.

namespace zef_test {

// A drawing of numbers that is the same everywhere.
class Draws {
public:
    explicit Draws(unsigned seed) : random(seed) {}
    unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
    // In steps of 2^-10, low included.
    double between(double low, double high) { return low + (high - low) * below(1024) / 1024; }
    template <class T>
    void shuffle(std::vector<T>& v) {
        for (std::size_t i = 1; i < v.size(); ++i) std::swap(v[i], v[below(static_cast<unsigned>(i) + 1)]);
    }

private:
    std::mt19937 random;
};

// Strewn cells, noisy sheets, walls with holes and balls, in turn, sorted; from 50 on. Sheets and
// walls have this extent.
inline std::vector<uint64> drawnCells(unsigned k, unsigned extentX = 16, unsigned extentY = 14) {
    Draws draws(k);
    std::vector<uint64> v;
    const auto add = [&](unsigned x, unsigned y, unsigned z) { v.push_back(packRCD(50 + x, 50 + y, 50 + z)); };
    const unsigned missing = k / 4 % 3 * 40;  // of 1000
    for (unsigned x = 0; x < extentX; ++x) {
        for (unsigned y = 0; y < extentY; ++y) {
            unsigned height = 4 + draws.below(2 + k / 8 % 2);
            height += draws.below(2);
            for (unsigned z = 0; z < 14; ++z) {
                const int dx = 2 * int(x) - 15, dy = 2 * int(y) - 13, dz = 2 * int(z) - 13;
                const int r2 = dx * dx + dy * dy + dz * dz;
                const bool bStrewn = x < 9 && y < 9 && z < 9 && draws.below(100) < 15 + 3 * k;
                const bool bSheet = z == height || (z == height + 1 && draws.below(4) == 0);
                const bool bWall = z >= 4 && z <= 4 + k % 5 && (x != 7 || y < 5 || y > 8);
                const bool bBall = r2 > 80 && r2 < 150;
                const bool aIn[4] = {bStrewn, bSheet, bWall, bBall};
                if (aIn[k % 4] && draws.below(1000) >= missing) add(x, y, z);
            }
        }
    }
    std::sort(v.begin(), v.end());
    return v;
}

inline constexpr int shellRadius = 24, shellCentre = 80;

// A shell with holes of a few cells.
inline std::vector<uint64> drawnShell(unsigned k) {
    Draws draws(k);
    std::vector<uint64> v = voxelShell(shellRadius, shellCentre);
    for (int hole = 0; hole < 40; ++hole) {
        const QUOR_ZEF::GridCoords low = QUOR_ZEF::unpackRCD(v[draws.below(static_cast<unsigned>(v.size()))]);
        const unsigned dx = draws.below(4), dy = draws.below(4), dz = draws.below(4);
        std::erase_if(v, [&](uint64 rcd) {
            const QUOR_ZEF::GridCoords c = QUOR_ZEF::unpackRCD(rcd);
            return c.x - low.x <= dx && c.y - low.y <= dy && c.z - low.z <= dz;
        });
    }
    return v;
}

// A place in each cell of unit size, in steps of 1/8 or 1/1024 of it, so that some distances are equal.
inline std::vector<std::pair<uint64, QUOR_ZEF::Point3>> drawnSamples(const std::vector<uint64>& vRCD, unsigned k) {
    Draws draws(1000 + k);
    std::vector<std::pair<uint64, QUOR_ZEF::Point3>> v;
    for (const uint64 rcd : vRCD) {
        const auto [x, y, z] = QUOR_ZEF::unpackRCD(rcd);
        const unsigned steps = draws.below(2) ? 8 : 1024;
        const auto inside = [&](uint64 c) { return static_cast<double>(c) + (draws.below(steps) + 0.5) / steps; };
        const double px = inside(x), py = inside(y);
        v.emplace_back(rcd, QUOR_ZEF::Point3(px, py, inside(z)));
    }
    return v;
}

}  // namespace zef_test
