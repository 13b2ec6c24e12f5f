#include "untangle/holeFilling.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace QUOR_ZEF {

namespace {

using Corners = SurfaceChange::Corners;

double areaOf(const Coords& a, const Coords& b, const Coords& c) {
    double square = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const double part = (b[i] - a[i]) * (c[j] - a[j]) - (b[j] - a[j]) * (c[i] - a[i]);
        square += part * part;
    }
    return std::sqrt(square);
}

class LoopTriangulation {
public:
    LoopTriangulation(const TangledSurface& surface_, const std::vector<std::uint32_t>& vLoop_,
                      const std::vector<std::uint32_t>& vGone_)
        : surface(surface_), vLoop(vLoop_), vGone(vGone_), vCost(vLoop.size() * vLoop.size()), vThird(vCost.size()) {}

    std::vector<Corners> run() {
        const std::size_t num = vLoop.size();
        for (std::size_t length = 2; length < num; ++length)
            for (std::size_t i = 0; i + length < num; ++i) settle(i, i + length);
        std::vector<Corners> vTriangles;
        if (cost(0, num - 1) < none) add(0, num - 1, vTriangles);
        return vTriangles;
    }

private:
    static constexpr double none = std::numeric_limits<double>::infinity();
    const TangledSurface& surface;
    const std::vector<std::uint32_t>&vLoop, vGone;
    std::vector<double> vCost;  // of the part of the loop between two of its vertices
    std::vector<std::size_t> vThird;

    double& cost(std::size_t i, std::size_t k) { return vCost[i * vLoop.size() + k]; }

    bool areJoinedElsewhere(std::uint32_t a, std::uint32_t b) const {
        for (const std::uint32_t t : surface.fan(a))
            if (std::ranges::count(surface.corners(t), b) > 0 && !std::ranges::binary_search(vGone, t)) return true;
        return false;
    }

    void settle(std::size_t i, std::size_t k) {
        const bool bSide = i == 0 && k + 1 == vLoop.size();
        cost(i, k) = none;
        if (!bSide && areJoinedElsewhere(vLoop[i], vLoop[k])) return;
        for (std::size_t j = i + 1; j < k; ++j) {
            const double sum = cost(i, j) + cost(j, k) +
                               areaOf(surface.place(vLoop[i]), surface.place(vLoop[j]), surface.place(vLoop[k]));
            if (sum >= cost(i, k)) continue;
            cost(i, k) = sum;
            vThird[i * vLoop.size() + k] = j;
        }
    }

    void add(std::size_t i, std::size_t k, std::vector<Corners>& vTriangles) const {
        if (k < i + 2) return;
        const std::size_t j = vThird[i * vLoop.size() + k];
        vTriangles.push_back({vLoop[i], vLoop[j], vLoop[k]});
        add(i, j, vTriangles);
        add(j, k, vTriangles);
    }
};

}  // namespace

std::optional<std::vector<std::uint32_t>> loopAround(const TangledSurface& surface,
                                                     const std::vector<std::uint32_t>& vTriangles) {
    std::map<std::uint32_t, std::uint32_t> next;
    std::vector<std::uint32_t> vVertices;
    std::size_t numSides = 0;
    for (const std::uint32_t t : vTriangles) {
        const Corners& c = surface.corners(t);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t a = c[i], b = c[(i + 1) % 3], other = surface.across(a, b);
            vVertices.push_back(a);
            if (other == TangledSurface::none) return std::nullopt;
            if (std::ranges::binary_search(vTriangles, other)) continue;
            ++numSides;
            next[a] = b;
        }
    }
    std::sort(vVertices.begin(), vVertices.end());
    vVertices.erase(std::unique(vVertices.begin(), vVertices.end()), vVertices.end());
    // Vertices, less inner and outer edges, and triangles: 1 for a disc.
    const std::size_t numEdges = (3 * vTriangles.size() + numSides) / 2;
    if (next.size() != numSides || vVertices.size() + vTriangles.size() != numEdges + 1) return std::nullopt;
    std::vector<std::uint32_t> vLoop;
    std::uint32_t at = next.begin()->first;
    do {
        vLoop.push_back(at);
        at = next.at(at);
    } while (at != vLoop.front() && vLoop.size() <= numSides);
    if (vLoop.size() != numSides) return std::nullopt;
    return vLoop;
}

std::vector<Corners> fillLoop(const TangledSurface& surface, const std::vector<std::uint32_t>& vLoop,
                              const std::vector<std::uint32_t>& vGone) {
    return LoopTriangulation(surface, vLoop, vGone).run();
}

}  // namespace QUOR_ZEF
