#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "check/exactSigns.h"

namespace QUOR_ZEF {

// Whether two triangles have a point in common that is of no common corner or edge; without
// rounding errors. Borrows the places of the vertices, which must suit exactSigns.h.
class CrossingTest {
public:
    using Corners = std::array<std::uint32_t, 3>;

    explicit CrossingTest(const std::vector<Coords>& vPlaces_) : vPlaces(vPlaces_) {}

    bool hasArea(const Corners& t) const;
    // Both have an area. What is the same corner must have the same number.
    bool intersect(Corners t, Corners u) const;

private:
    const std::vector<Coords>& vPlaces;

    bool isOnOneSide(const Corners& t, const Corners& u, std::size_t first) const;
    bool isBeside(const Corners& t, const Corners& u) const;
    bool areFolded(const Corners& t, const Corners& u) const;
    int sideOf(const Corners& t, std::uint32_t vertex) const;
    bool segmentMeets(std::uint32_t p, std::uint32_t q, int sideP, int sideQ, const Corners& t) const;
    bool oppositeSideMeets(const Corners& t, const Corners& u) const;
    bool sideMeets(const Corners& t, const Corners& u) const;
};

}  // namespace QUOR_ZEF
