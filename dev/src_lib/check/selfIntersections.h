#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "check/CrossingTest.h"
#include "check/ExactPlaces.h"
#include "check/TriangleGrid.h"
#include "flat/arrays.h"

namespace QUOR_ZEF {

using TrianglePair = std::array<std::uint32_t, 2>;  // numbers, the lower one first
constexpr std::size_t allPairs = SIZE_MAX;

// The triangles of a mesh that have an area, with corners that are the same where their places
// are.
struct ExactTriangles {
    explicit ExactTriangles(const TriangleMesh& mesh);

    ExactPlaces places;
    std::vector<CrossingTest::Corners> vCorners;
    std::vector<std::uint32_t> vNumbers;  // in the mesh, ascending
};

// Whether so many triangles lie in one place, as around a vertex, that it takes minutes to hold each against the
// others.
bool isTooCrowded(const TriangleGrid& grid);

// What countSelfIntersections() counts, by numbers in the mesh, ascending. TooLargeError where they are too crowded.
std::vector<TrianglePair> findIntersectingPairs(const TriangleMesh& mesh);
// The same, for those who can do without: nothing where they are too crowded. Once there are more than most, no others
// are looked for: then some come back, more than most.
std::optional<std::vector<TrianglePair>> lookForIntersectingPairs(const TriangleMesh& mesh,
                                                                  std::size_t most = allPairs);
// The same; the grid is that of the triangles, of which there are two at least, and not too crowded.
std::vector<TrianglePair> findIntersectingPairs(const ExactTriangles& triangles, const TriangleGrid& grid,
                                                std::size_t most = allPairs);

}  // namespace QUOR_ZEF
