#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "check/exactSigns.h"
#include "flat/arrays.h"

namespace QUOR_ZEF {

// The places of vertices as exactSigns.h wants them: scaled by a power of two, which changes
// no bit of a significand, so that the largest coordinate is between 1 and 2; what is below 2^-300
// then counts as 0.
class ExactPlaces {
public:
    // O(n log n); parallel.
    explicit ExactPlaces(const TriangleMesh& mesh);

    std::vector<Coords> v;             // by vertex
    std::vector<std::uint32_t> vSame;  // by vertex: the lowest one at its place; itself if that is not finite

    bool hasSame() const;  // whether any two are at one place
    bool isFinite(std::uint32_t vertex) const;
    double scaled(double length) const;
    double unscaled(double length) const;

private:
    int exponent = 0;

    void findSame();
};

}  // namespace QUOR_ZEF
