#include "check/ExactPlaces.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "frame/Run.h"
#include "geometry/byPlace.h"
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

// What is at one place has one number, and hardly anything else has. NaN has no order.
void ExactPlaces::findSame() {
    std::vector<std::pair<uint64, std::uint32_t>> vNumbered;
    vSame.resize(v.size());
    std::iota(vSame.begin(), vSame.end(), 0U);
    vNumbered.reserve(v.size());
    for (std::uint32_t i = 0; i < v.size(); ++i) {
        pollRun(i);
        if (isFinite(i)) vNumbered.emplace_back(numberOfPlace(v[i][0], v[i][1], v[i][2]), i);
    }
    sortStableByFirstMT(vNumbered.begin(), vNumbered.end());
    std::size_t num = 0;
    for (auto first = vNumbered.begin(), last = first; first != vNumbered.end(); first = last) {
        pollRun(num++);
        while (last != vNumbered.end() && last->first == first->first) ++last;
        if (last - first < 2) continue;
        std::sort(first, last, [&](const auto& a, const auto& b) {
            return v[a.second] != v[b.second] ? v[a.second] < v[b.second] : a.second < b.second;
        });
        for (auto next = first + 1; next != last; ++next)
            if (v[next->second] == v[(next - 1)->second]) vSame[next->second] = vSame[(next - 1)->second];
    }
}

}  // namespace QUOR_ZEF
