#include "geometry/symmetricEigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace QUOR_ZEF;

TEST(SymmetricEigen, valuesAndVectorsAreThoseOfTheMatrix) {
    ProductSums rankOne, many;
    rankOne.add(Vector3(1.0, -2.0, 3.0));
    std::mt19937 random(3);
    const auto next = [&] { return static_cast<double>(random()) * 0x1p-32; };
    for (int i = 0; i < 9; ++i) many.add(Vector3(next(), 1e3 * next(), 1e-3 * next()));
    for (const ProductSums& a :
         {ProductSums{}, ProductSums{3.0, 0.0, 0.0, 1.0, 0.0, 2.0}, rankOne, many,
          ProductSums{1.0, 1e-12, -1e-13, 1.0, 1e-20, 1.0}, ProductSums{0.0, 1.0, 1.0, 0.0, 1.0, 0.0},
          ProductSums{1e-80, 2e-80, 0, 3e-80, 0, 0}}) {
        const SymmetricEigen eigen = getEigen(a);
        const double scale = std::max({std::abs(eigen.values[0]), std::abs(eigen.values[2])});
        EXPECT_LE(eigen.values[0], eigen.values[1]);
        EXPECT_LE(eigen.values[1], eigen.values[2]);
        for (std::size_t i = 0; i < 3; ++i) {
            const Vector3& v = eigen.vectors[i];
            const Vector3 product(Vector3(a.xx, a.xy, a.xz) * v, Vector3(a.xy, a.yy, a.yz) * v,
                                  Vector3(a.xz, a.yz, a.zz) * v);
            EXPECT_LE((product - v * eigen.values[i]).length(), 4e-15 * scale);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(v * eigen.vectors[k], i == k ? 1.0 : 0.0, 4e-15);
        }
    }
}
