#pragma once

#include <array>
#include <cstddef>

#include "geometry/freeFunctions.h"
#include "simplify/Quadric.h"

namespace QUOR_ZEF {

// Four channels of a colour, as lengths.
using Channels = std::array<double, 4>;

// Beside a Quadric: what it takes to know which colour at a point agrees best with
// those of many triangles, each going on linearly beyond its corners. H. Hoppe,
// New quadric metric for simplifying meshes with appearance attributes, 1999.
struct ColorQuadric {
    std::array<Vector3, 4> slope;  // sums of weighted gradients
    Channels offset{};             // sums of weighted values at the origin
    double weight = 0.0;

    ColorQuadric& operator+=(const ColorQuadric& q) {
        for (std::size_t i = 0; i < 4; ++i) {
            slope[i] += q.slope[i];
            offset[i] += q.offset[i];
        }
        weight += q.weight;
        return *this;
    }

    // A triangle with area, given by a corner, the two edges from there and the
    // colours of all corners. Its squared deviations from no colour go to q.
    void addTriangle(const Vector3& p, const Vector3& e1, const Vector3& e2, const std::array<Channels, 3>& colors,
                     double w, Quadric& q) {
        const Vector3 n = cross(e1, e2);
        const double sq = n.sqLength();
        const Vector3 along1 = cross(e2, n) / sq, along2 = cross(n, e1) / sq;
        for (std::size_t i = 0; i < 4; ++i) {
            Vector3 gradient = along1 * (colors[1][i] - colors[0][i]);
            gradient += along2 * (colors[2][i] - colors[0][i]);
            const double atOrigin = colors[0][i] - gradient * p;
            q.addPlane(gradient, -atOrigin, w);
            slope[i] += gradient * w;
            offset[i] += atOrigin * w;
        }
        weight += w;
    }

    // From deviations from no colour to those from the best colour.
    void takeBestFrom(Quadric& q) const {
        if (!(weight > 0.0)) return;
        for (std::size_t i = 0; i < 4; ++i) q.addPlane(slope[i] / weight, -offset[i] / weight, -weight);
    }

    // weight must be above 0.
    Channels bestAt(const Vector3& p) const {
        Channels best;
        for (std::size_t i = 0; i < 4; ++i) best[i] = (slope[i] * p + offset[i]) / weight;
        return best;
    }
};

}  // namespace QUOR_ZEF
