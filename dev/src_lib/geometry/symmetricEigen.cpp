#include "geometry/symmetricEigen.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace QUOR_ZEF {

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

// Turns the axes p and q so that a[p][q] becomes 0; the columns of v follow. The axes are known
// beforehand, so that both matrices stay in registers.
template <std::size_t p, std::size_t q>
void rotate(Matrix& a, Matrix& v) {
    constexpr std::size_t r = 3 - p - q;
    if (a[p][q] == 0.0) return;
    const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
    const double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::abs(theta) + std::sqrt(theta * theta + 1.0));
    const double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
    const double arp = a[r][p], arq = a[r][q], apq = a[p][q];
    a[p][p] -= t * apq;
    a[q][q] += t * apq;
    a[p][q] = a[q][p] = 0.0;
    a[r][p] = a[p][r] = c * arp - s * arq;
    a[r][q] = a[q][r] = s * arp + c * arq;
    for (auto& row : v) {
        const double vp = row[p], vq = row[q];
        row[p] = c * vp - s * vq;
        row[q] = s * vp + c * vq;
    }
}

}  // namespace

SymmetricEigen getEigen(const ProductSums& sums) {
    constexpr int maxSweeps = 12;  // it converges quadratically; five do as a rule
    Matrix a = {{{sums.xx, sums.xy, sums.xz}, {sums.xy, sums.yy, sums.yz}, {sums.xz, sums.yz, sums.zz}}};
    Matrix v = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
    for (int sweep = 0; sweep < maxSweeps; ++sweep) {
        const double off = std::abs(a[0][1]) + std::abs(a[0][2]) + std::abs(a[1][2]);
        const double diagonal = std::abs(a[0][0]) + std::abs(a[1][1]) + std::abs(a[2][2]);
        if (!(off > 1e-17 * diagonal)) break;
        rotate<0, 1>(a, v);
        rotate<0, 2>(a, v);
        rotate<1, 2>(a, v);
    }
    std::array<std::size_t, 3> order = {0, 1, 2};
    const auto sortPair = [&](std::size_t i, std::size_t k) {
        if (a[order[k]][order[k]] < a[order[i]][order[i]]) std::swap(order[i], order[k]);
    };
    sortPair(0, 1);
    sortPair(1, 2);
    sortPair(0, 1);
    SymmetricEigen eigen;
    for (std::size_t i = 0; i < 3; ++i) {
        eigen.values[i] = a[order[i]][order[i]];
        eigen.vectors[i] = {v[0][order[i]], v[1][order[i]], v[2][order[i]]};
    }
    return eigen;
}

}  // namespace QUOR_ZEF
