#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "geometry/symmetricEigen.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// A curved piece of surface, z = a + bx + cy + dx^2 + exy + fy^2 over the plane of some points, by
// least squares. What the points do not tell, as those of a line, stays 0.
class HeightQuadric {
public:
    static constexpr std::size_t numTerms = 6;

    // Places as ways from one point near them. scale: about as far as they lie from it. Some must be given.
    HeightQuadric(std::span<const Vector3> ways, double scale);

    // Of a place, along the normal of the plane, whose sign is left open.
    double heightAt(const Vector3& way) const;
    // How many of the terms the points told.
    std::size_t getNumTold() const { return numTold; }
    // Of the points over the surface.
    double getSumOfSquares() const { return sumOfSquares; }

private:
    using Terms = std::array<double, numTerms>;
    class NormalEquations;

    Terms termsOf(const Vector3& way) const;

    SymmetricEigen axes;
    double scale;
    Terms terms{};
    std::size_t numTold = 0;
    double sumOfSquares = 0.0;
};

}  // namespace QUOR_ZEF
