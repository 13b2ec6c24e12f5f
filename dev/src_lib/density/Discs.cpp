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

// From a position on, one spot for each cell, ascending; those of a cell are summed in their order.
void mergeByCell(std::vector<Spot>& vSpots, std::size_t first = 0) {
    sortStableByFirstMT(vSpots.begin() + static_cast<std::ptrdiff_t>(first), vSpots.end());
    std::size_t num = first;
    for (std::size_t i = first; i < vSpots.size(); ++i) {
        if (num > first && vSpots[num - 1].first == vSpots[i].first)
            vSpots[num - 1].second.add(vSpots[i].second);
        else
            vSpots[num++] = vSpots[i];
    }
    vSpots.resize(num);
}

// Where blocks begin, and the end.
std::vector<std::size_t> boundsOfBlocks(const std::vector<uint64>& vCells) {
    constexpr int blockLevel = 5;  // 32 cells a side
    std::vector<std::size_t> vBounds;
    for (std::size_t i = 0; i < vCells.size(); ++i)
        if (i == 0 || vCells[i] >> 3 * blockLevel != vCells[i - 1] >> 3 * blockLevel) vBounds.push_back(i);
    vBounds.push_back(vCells.size());
    return vBounds;
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

std::vector<DrawnCell> drawDiscs(const std::vector<uint64>& vCells, const std::function<Disc(std::size_t)>& getDisc,
                                 const Calc& calc) {
    constexpr std::size_t fewBlocks = 16;
    const std::vector<std::size_t> vBounds = boundsOfBlocks(vCells);
    auto vParts =
        parallelChunkResults<std::vector<Spot>>(vBounds.size() - 1, fewBlocks, [&](std::size_t begin, std::size_t end) {
            const DiscDrawer drawer(calc);
            std::vector<Spot> vDrawn;
            for (std::size_t block = begin; block < end; ++block) {
                const std::size_t first = vDrawn.size();
                for (std::size_t i = vBounds[block]; i < vBounds[block + 1]; ++i)
                    drawer.draw(getDisc(i), static_cast<std::uint32_t>(i), vDrawn);
                mergeByCell(vDrawn, first);
            }
            vDrawn.shrink_to_fit();
            return vDrawn;
        });
    std::vector<Spot> vSpots;
    for (std::vector<Spot>& vPart : vParts) {
        vSpots.insert(vSpots.end(), vPart.begin(), vPart.end());
        std::vector<Spot>().swap(vPart);
    }
    mergeByCell(vSpots);
    std::vector<DrawnCell> vDrawn;
    vDrawn.reserve(vSpots.size());
    for (const auto& [ccd, sum] : vSpots)
        vDrawn.push_back({ccd, {sum.x / sum.weight, sum.y / sum.weight, sum.z / sum.weight}, sum.disc});
    return vDrawn;
}

}  // namespace QUOR_ZEF
