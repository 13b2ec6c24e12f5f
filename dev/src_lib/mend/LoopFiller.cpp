#include "mend/LoopFiller.h"

#include <algorithm>
#include <limits>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

constexpr double impossible = std::numeric_limits<double>::infinity();

std::array<std::uint32_t, 3> sorted(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    std::array<std::uint32_t, 3> corners{a, b, c};
    std::sort(corners.begin(), corners.end());
    return corners;
}

}  // namespace

// Dynamic programming, the short parts first.
bool LoopFiller::fill(const std::vector<std::uint32_t>& vLoop_, std::vector<std::uint32_t>& vNew) {
    vLoop = vLoop_;
    const std::size_t n = vLoop.size();
    if (n < 3 || n > maxLoop) return false;
    vCost.assign(n * n, 0.0);
    vThird.assign(n * n, 0);
    lookUp();
    for (std::size_t width = 2; width < n; ++width)
        for (std::size_t i = 0; i + width < n; ++i) solve(i, i + width);
    if (!(vCost[at(0, n - 1)] < impossible)) return false;
    add(0, n - 1, vNew);
    return true;
}

// What is there already, once for each pair of vertices instead of for each triple.
void LoopFiller::lookUp() {
    const std::size_t n = vLoop.size();
    vThere.assign(n * n, {});
    vMet.assign(n, false);
    for (std::size_t i = 0; i < n; ++i) {
        vMet[i] = sMet.count(vLoop[i]) != 0;
        for (std::size_t k = i + 1; k < n; ++k) vThere[at(i, k)] = edges.at(vLoop[i], vLoop[k]);
    }
}

void LoopFiller::solve(std::size_t i, std::size_t k) {
    double& best = vCost[at(i, k)];
    best = impossible;
    for (std::size_t j = i + 1; j < k; ++j) {
        const double parts = vCost[at(i, j)] + vCost[at(j, k)];
        if (!(parts < best)) continue;
        const double cost = parts + costOf(i, j, k);
        if (!(cost < best)) continue;
        best = cost;
        vThird[at(i, k)] = j;
    }
    const bool bDiagonal = i > 0 || k + 1 < vLoop.size();
    const auto isLive = [&](const EdgeSide& entry) { return !vDead[entry.side / 3]; };
    const auto& there = vThere[at(i, k)];
    if (bDiagonal && std::any_of(there.sides.begin(), there.sides.end(), isLive)) best += crossingCost();
}

// More than all areas here.
double LoopFiller::crossingCost() const {
    double length = 0.0;
    for (std::size_t i = 0; i < vLoop.size(); ++i)
        length += (mesh.vertices[vLoop[i]] - mesh.vertices[vLoop[(i + 1) % vLoop.size()]]).length();
    return length * length * static_cast<double>(vLoop.size());
}

double LoopFiller::costOf(std::size_t i, std::size_t j, std::size_t k) const {
    const std::uint32_t a = vLoop[i], b = vLoop[j], c = vLoop[k];
    for (const EdgeSide& entry : vThere[at(i, j)].sides)
        if (mesh.indices[previousSide(entry.side)] == c && !vDead[entry.side / 3]) return impossible;
    if (vMet[i] && vMet[j] && vMet[k] && sMade.count(sorted(a, b, c)) != 0) return impossible;
    return getTriangleArea(mesh.vertices[a], mesh.vertices[b], mesh.vertices[c]);
}

void LoopFiller::add(std::size_t i, std::size_t k, std::vector<std::uint32_t>& vNew) {
    if (k - i < 2) return;
    const std::size_t j = vThird[at(i, k)];
    sMade.insert(sorted(vLoop[i], vLoop[j], vLoop[k]));
    sMet.insert({vLoop[i], vLoop[j], vLoop[k]});
    vNew.insert(vNew.end(), {vLoop[i], vLoop[j], vLoop[k]});
    add(i, j, vNew);
    add(j, k, vNew);
}

}  // namespace QUOR_ZEF
