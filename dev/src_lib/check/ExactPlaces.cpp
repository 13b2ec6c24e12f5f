#include "check/ExactPlaces.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include "frame/Run.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr double leastCoord = 0x1p-300;

}  // namespace

ExactPlaces::ExactPlaces(const TriangleMesh& mesh) : v(mesh.vertices.size()) {
    double largest = 0.0;
    for (const Point3& p : mesh.vertices)
        for (const double x : {p.px, p.py, p.pz})
            if (std::isfinite(x)) largest = std::max(largest, std::abs(x));
    exponent = largest > 0.0 ? std::ilogb(largest) : 0;
    const auto place = [&](double x) {
        const double small = scaled(x);
        return std::abs(small) < leastCoord ? 0.0 : small;
    };
    constexpr std::size_t minChunk = 4096;
    parallelChunks(v.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Point3& p = mesh.vertices[i];
            v[i] = {place(p.px), place(p.py), place(p.pz)};
        }
    });
    findSame();
}

double ExactPlaces::scaled(double length) const {
    return std::scalbn(length, -exponent);
}

double ExactPlaces::unscaled(double length) const {
    return std::scalbn(length, exponent);
}

bool ExactPlaces::hasSame() const {
    for (std::uint32_t i = 0; i < vSame.size(); ++i)
        if (vSame[i] != i) return true;
    return false;
}

bool ExactPlaces::isFinite(std::uint32_t vertex) const {
    return std::ranges::all_of(v[vertex], [](double x) { return std::isfinite(x); });
}

// NaN has no order.
void ExactPlaces::findSame() {
    std::vector<std::uint32_t> vOrder;
    vSame.resize(v.size());
    std::iota(vSame.begin(), vSame.end(), 0U);
    vOrder.reserve(v.size());
    std::ranges::copy_if(vSame, std::back_inserter(vOrder), [&](std::uint32_t i) { return isFinite(i); });
    sortMT(vOrder.begin(), vOrder.end(),
           [&](std::uint32_t i, std::uint32_t j) { return v[i] != v[j] ? v[i] < v[j] : i < j; });
    for (std::size_t i = 1; i < vOrder.size(); ++i) {
        pollRun(i);
        if (v[vOrder[i]] == v[vOrder[i - 1]]) vSame[vOrder[i]] = vSame[vOrder[i - 1]];
    }
}

}  // namespace QUOR_ZEF
