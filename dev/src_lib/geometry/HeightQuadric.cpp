#include "geometry/HeightQuadric.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace QUOR_ZEF {

// Which are added up one row at a time.
class HeightQuadric::NormalEquations {
public:
    void add(const Terms& row, double value) {
        for (std::size_t i = 0; i < numTerms; ++i) {
            for (std::size_t k = 0; k <= i; ++k) aProducts[i][k] += row[i] * row[k];
            aRight[i] += row[i] * value;
        }
    }

    // Returns the number of terms that are told. Overwrites the sums by their Cholesky factor.
    std::size_t solve(Terms& solution) {
        constexpr double smallest = 1e-9;  // of what a term had by itself
        std::array<bool, numTerms> bTold{};
        for (std::size_t i = 0; i < numTerms; ++i) {
            const double before = aProducts[i][i];
            for (std::size_t k = 0; k <= i; ++k) {
                double sum = aProducts[i][k];
                for (std::size_t j = 0; j < k; ++j) sum -= aProducts[i][j] * aProducts[k][j];
                if (k < i)
                    aProducts[i][k] = bTold[k] ? sum / aProducts[k][k] : 0.0;
                else
                    bTold[i] = sum > smallest * before, aProducts[i][i] = bTold[i] ? std::sqrt(sum) : 1.0;
            }
        }
        for (std::size_t i = 0; i < numTerms; ++i) {
            for (std::size_t k = 0; k < i; ++k) aRight[i] -= aProducts[i][k] * aRight[k];
            aRight[i] = bTold[i] ? aRight[i] / aProducts[i][i] : 0.0;
        }
        for (std::size_t i = numTerms; i-- > 0;) {
            double sum = aRight[i];
            for (std::size_t k = i + 1; k < numTerms; ++k) sum -= aProducts[k][i] * solution[k];
            solution[i] = bTold[i] ? sum / aProducts[i][i] : 0.0;
        }
        return static_cast<std::size_t>(std::count(bTold.begin(), bTold.end(), true));
    }

private:
    std::array<Terms, numTerms> aProducts{};  // lower half
    Terms aRight{};
};

HeightQuadric::HeightQuadric(std::span<const Vector3> ways, double givenScale) : scale(givenScale) {
    Vector3 mean;
    for (const Vector3& way : ways) mean += way;
    mean /= static_cast<double>(ways.size());
    ProductSums sums;
    for (const Vector3& way : ways) sums.add(way - mean);
    axes = getEigen(sums);
    NormalEquations equations;
    for (const Vector3& way : ways) equations.add(termsOf(way), axes.vectors[0] * way);
    numTold = equations.solve(terms);
    for (const Vector3& way : ways) {
        const double height = heightAt(way);
        sumOfSquares += height * height;
    }
}

HeightQuadric::Terms HeightQuadric::termsOf(const Vector3& way) const {
    const double u = axes.vectors[2] * way / scale, v = axes.vectors[1] * way / scale;
    return {1.0, u, v, u * u, u * v, v * v};
}

double HeightQuadric::heightAt(const Vector3& way) const {
    const Terms here = termsOf(way);
    return axes.vectors[0] * way - std::inner_product(here.begin(), here.end(), terms.begin(), 0.0);
}

}  // namespace QUOR_ZEF
