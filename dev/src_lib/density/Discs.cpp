#include "density/Discs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// What the discs of a cell sum up to.
struct SpotSum {
    double x, y, z;  // weighted
    double weight;
    double nearest;      // distance to the nearest centre, in reaches
    std::uint32_t disc;  // whose centre that is

    void add(const SpotSum& other) {
        x += other.x;
        y += other.y;
        z += other.z;
        weight += other.weight;
        if (other.nearest >= nearest) return;
        nearest = other.nearest;
        disc = other.disc;
    }
};
using Spot = std::pair<uint64, SpotSum>;  // first: the cell as CCD

// One spot for each cell, ascending; those of a cell are summed in their order.
void mergeByCell(std::vector<Spot>& vSpots) {
    sortStableByFirstMT(vSpots.begin(), vSpots.end());
    std::size_t num = 0;
    for (std::size_t i = 0; i < vSpots.size(); ++i) {
        if (num > 0 && vSpots[num - 1].first == vSpots[i].first)
            vSpots[num - 1].second.add(vSpots[i].second);
        else
            vSpots[num++] = vSpots[i];
    }
    vSpots.resize(num);
}

// Draws a disc as one spot for each column of cells along the axis that its normal
// leans to most, so that neighbouring spots lie in cells that touch.
class DiscDrawer {
public:
    explicit DiscDrawer(const Calc& grid) : calc(grid), cell(grid.getCellSize()) {}

    void draw(const Disc& disc, std::uint32_t number, std::vector<Spot>& vSpots) const {
        const std::array<double, 3> c = {disc.centre.px - calc.x0, disc.centre.py - calc.y0, disc.centre.pz - calc.z0};
        const std::array<double, 3> n = {disc.normal.vx, disc.normal.vy, disc.normal.vz};
        std::size_t w = 0;
        for (const std::size_t axis : {1u, 2u})
            if (std::abs(n[axis]) > std::abs(n[w])) w = axis;
        const std::size_t u = (w + 1) % 3, v = (w + 2) % 3;
        const double reach = disc.getLongestReach();
        const auto first = [&](std::size_t axis) { return std::floor((c[axis] - reach) / cell); };
        for (double iu = first(u); iu * cell <= c[u] + reach; ++iu) {
            for (double iv = first(v); iv * cell <= c[v] + reach; ++iv) {
                std::array<double, 3> away{};
                away[u] = (iu + 0.5) * cell - c[u];
                away[v] = (iv + 0.5) * cell - c[v];
                away[w] = -(n[u] * away[u] + n[v] * away[v]) / n[w];
                add(disc, number, {away[0], away[1], away[2]}, vSpots);
            }
        }
    }

private:
    void add(const Disc& disc, std::uint32_t number, const Vector3& away, std::vector<Spot>& vSpots) const {
        constexpr double rimWeight = 0.05;
        const double share = disc.getShare(away);
        if (!(share <= 1.0)) return;
        const double rest = 1.0 - share * share;
        const Point3 p = disc.centre + away;
        const double weight = rest * rest + rimWeight;
        vSpots.push_back({calc.getCCD(p), {weight * p.px, weight * p.py, weight * p.pz, weight, share, number}});
    }

    const Calc& calc;
    const double cell;
};

}  // namespace

Disc::Disc(const Point3& centre_, const Vector3& normal_, double spacing_)
    : centre(centre_), normal(normal_), spacing(spacing_) {
    const Vector3 aside = std::abs(normal.vx) < 0.9 ? Vector3(1.0, 0.0, 0.0) : Vector3(0.0, 1.0, 0.0);
    right = normalize(cross(normal, aside));
    up = cross(normal, right);
}

double Disc::getLongestReach() const {
    double longest = 0.0;
    for (const Reach& reach : aReach) longest = std::max(longest, reach.length);
    return longest;
}

double Disc::getShare(const Vector3& away) const {
    constexpr double farAway = 2.0;  // spacings
    constexpr double outside = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < numCuts; ++i)
        if (away * aCuts[i].normal < aCuts[i].least) return outside;
    const double r = away * right, u = away * up;
    const Reach& reach = aReach[getSector(r, u)];
    const bool bAside = reach.length > farAway * spacing && std::abs(r * reach.up - u * reach.right) > spacing;
    return bAside ? outside : away.length() / reach.length;
}

std::vector<DrawnCell> drawDiscs(std::size_t numDiscs, const std::function<Disc(std::size_t)>& getDisc,
                                 const Calc& calc) {
    // Batches of one size, so that no sum depends on the number of threads.
    constexpr std::size_t batch = 4096;
    const std::size_t numBatches = (numDiscs + batch - 1) / batch;
    std::vector<std::vector<Spot>> vBatches(numBatches);
    parallelChunks(numBatches, 1, [&](std::size_t begin, std::size_t end) {
        const DiscDrawer drawer(calc);
        for (std::size_t b = begin; b < end; ++b) {
            const std::size_t last = std::min((b + 1) * batch, numDiscs);
            for (std::size_t i = b * batch; i < last; ++i)
                drawer.draw(getDisc(i), static_cast<std::uint32_t>(i), vBatches[b]);
            mergeByCell(vBatches[b]);
            vBatches[b].shrink_to_fit();
        }
    });
    std::vector<Spot> vSpots;
    for (std::vector<Spot>& vBatch : vBatches) {
        vSpots.insert(vSpots.end(), vBatch.begin(), vBatch.end());
        std::vector<Spot>().swap(vBatch);
    }
    mergeByCell(vSpots);
    std::vector<DrawnCell> vCells;
    vCells.reserve(vSpots.size());
    for (const auto& [ccd, sum] : vSpots)
        vCells.push_back({ccd, {sum.x / sum.weight, sum.y / sum.weight, sum.z / sum.weight}, sum.disc});
    return vCells;
}

}  // namespace QUOR_ZEF
