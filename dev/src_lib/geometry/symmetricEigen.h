#pragma once

#include <array>

#include "geometry/freeFunctions.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Eigenvalues, ascending, of a symmetric matrix, with their unit vectors, whose signs
// are open.
struct SymmetricEigen {
    std::array<double, 3> values{};
    std::array<Vector3, 3> vectors{};
};

// By cyclic Jacobi rotations (Golub, Van Loan: Matrix Computations). Exact to some units in
// the last place of the largest value. Sums that are not finite give what is not finite.
SymmetricEigen getEigen(const ProductSums& sums);

}  // namespace QUOR_ZEF
