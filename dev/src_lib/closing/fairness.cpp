#include "closing/fairness.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "flat/triangleSides.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// The mean cosine of the angles between the triangles on both sides of the loop.
double straightnessOf(const Patch& patch, const LoopSurroundings& around) {
    double sum = 0.0, length = 0.0;
    for (std::uint32_t side = 0; side < patch.vCorners.size(); ++side) {
        const std::uint32_t a = patch.vCorners[side], b = patch.vCorners[nextSide(side)];
        if (patch.isInside(a) || b != (a + 1) % patch.numLoop) continue;
        const Point3 &pA = patch.vPlaces[a], &pB = patch.vPlaces[b];
        const Vector3 along = pB - pA, inner = cross(along, patch.vPlaces[patch.vCorners[previousSide(side)]] - pA),
                      outer = cross(around.vBeside[a] - pA, along);
        const double lengths = inner.length() * outer.length();
        if (!(lengths > 0.0)) continue;
        sum += along.length() * (inner * outer) / lengths;
        length += along.length();
    }
    return length > 0.0 ? sum / length : 0.0;
}

// Vertices inside go to where the squares of the distances of all vertices from the middles of their neighbours,
// as long as they are not on the loop and beyond, have the least sum.
class ThinPlate {
public:
    ThinPlate(const Patch& patch_, const LoopSurroundings& around) : patch(patch_), vNeighbours(patch.neighbours()) {
        vOuterSum.reserve(patch.numLoop);
        vOuterNum.reserve(patch.numLoop);
        for (std::uint32_t i = 0; i < patch.numLoop; ++i) {
            Vector3 sum;
            for (const Point3& p : around.vOuter[i]) sum += p - Point3();
            vOuterSum.push_back(sum);
            vOuterNum.push_back(static_cast<double>(around.vOuter[i].size()));
        }
    }

    std::vector<Point3> solve() const {
        constexpr int mostSteps = 400;
        constexpr double enough = 1e-10;  // of the squared residual
        std::vector<Vector3> vAt;
        vAt.reserve(patch.vPlaces.size());
        for (const Point3& p : patch.vPlaces) vAt.push_back(p - Point3());
        std::vector<Vector3> vResidual = gradient(bends(vAt, true));
        for (Vector3& v : vResidual) v *= -1.0;
        std::vector<Vector3> vWay = vResidual;
        double square = product(vResidual, vResidual);
        const double limit = enough * square;
        for (int step = 0; step < mostSteps && square > limit; ++step) {
            const std::vector<Vector3> vImage = gradient(bends(vWay, false));
            const double along = product(vWay, vImage);
            if (!(along > 0.0)) break;
            add(vAt, vWay, square / along);
            add(vResidual, vImage, -square / along);
            const double before = std::exchange(square, product(vResidual, vResidual));
            for (std::size_t i = 0; i < vWay.size(); ++i) vWay[i] = vResidual[i] + vWay[i] * (square / before);
        }
        std::vector<Point3> vPlaces;
        vPlaces.reserve(vAt.size());
        for (const Vector3& v : vAt) vPlaces.push_back(Point3() + v);
        return vPlaces;
    }

private:
    const Patch& patch;
    std::vector<std::vector<std::uint32_t>> vNeighbours;
    std::vector<Vector3> vOuterSum;
    std::vector<double> vOuterNum;

    static double product(const std::vector<Vector3>& v, const std::vector<Vector3>& w) {
        double sum = 0.0;
        for (std::size_t i = 0; i < v.size(); ++i) sum += v[i] * w[i];
        return sum;
    }
    static void add(std::vector<Vector3>& v, const std::vector<Vector3>& w, double factor) {
        for (std::size_t i = 0; i < v.size(); ++i) v[i] += w[i] * factor;
    }
    double numAround(std::uint32_t i) const {
        return static_cast<double>(vNeighbours[i].size()) + (patch.isInside(i) ? 0.0 : vOuterNum[i]);
    }
    // From each vertex to the middle of its neighbours; of places, or of moves that leave the loop where it is.
    std::vector<Vector3> bends(const std::vector<Vector3>& vAt, bool bPlaces) const {
        std::vector<Vector3> v(vAt.size());
        for (std::uint32_t i = 0; i < v.size(); ++i) {
            Vector3 sum;
            if (bPlaces && !patch.isInside(i)) sum = vOuterSum[i];
            for (const std::uint32_t n : vNeighbours[i]) sum += vAt[n];
            v[i] = sum * (1.0 / numAround(i)) - vAt[i];
        }
        return v;
    }
    std::vector<Vector3> gradient(const std::vector<Vector3>& vBends) const {
        std::vector<Vector3> v(vBends.size());
        for (std::uint32_t i = patch.numLoop; i < v.size(); ++i) {
            for (const std::uint32_t n : vNeighbours[i]) v[i] += vBends[n] * (1.0 / numAround(n));
            v[i] -= vBends[i];
        }
        return v;
    }
};

// Only if the loop is flat to within a cell.
void flatten(Patch& patch, double cellSize) {
    constexpr double farthest = 3.0;  // cells
    Point3 middle;
    for (std::uint32_t i = 0; i < patch.numLoop; ++i)
        middle = middle + (patch.vPlaces[i] - Point3()) * (1.0 / patch.numLoop);
    ProductSums sums;
    for (std::uint32_t i = 0; i < patch.numLoop; ++i) sums.add(patch.vPlaces[i] - middle);
    Vector3 normal;
    if (!sums.getNormal(normal)) return;
    double most = 0.0, squares = 0.0;
    for (std::uint32_t i = 0; i < patch.numLoop; ++i) {
        const double d = normal * (patch.vPlaces[i] - middle);
        most = std::max(most, std::abs(d));
        squares += d * d;
    }
    if (squares > patch.numLoop * cellSize * cellSize || most > farthest * cellSize) return;
    for (std::uint32_t i = patch.numLoop; i < patch.vPlaces.size(); ++i)
        patch.vPlaces[i] = patch.vPlaces[i] - normal * (normal * (patch.vPlaces[i] - middle));
}

}  // namespace

void makeFair(Patch& patch, const LoopSurroundings& around, double cellSize) {
    constexpr int numRounds = 30;
    constexpr double goesOn = 0.64;            // cosine of 50 degrees
    constexpr std::size_t mostOfPlate = 4000;  // inner vertices
    patch.smooth(numRounds);
    if (straightnessOf(patch, around) < goesOn) return flatten(patch, cellSize);
    if (patch.vPlaces.size() - patch.numLoop < mostOfPlate) patch.vPlaces = ThinPlate(patch, around).solve();
}

}  // namespace QUOR_ZEF
