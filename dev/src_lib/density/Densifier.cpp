#include "density/Densifier.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "geometry/symmetricEigen.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 256;
// Enough to see over the edge of a step of quantised depth, and few enough to follow a curve.
constexpr std::size_t numNeighbours = 60;
constexpr std::size_t spacingRank = 6;
constexpr double denseSpacing = 0.5;  // cells
constexpr std::uint32_t none = ~std::uint32_t{0};

}  // namespace

Densifier::Densifier(const PointGrid& pointGrid) : grid(pointGrid), cell(pointGrid.getCalc().getCellSize()) {
    if (grid.size() > 0) findSparse();
}

void Densifier::findSparse() {
    const auto vParts = parallelChunkResults<Found>(grid.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        return findSparseFrom(static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end));
    });
    for (const Found& part : vParts) {
        vSparse.insert(vSparse.end(), part.vSparse.begin(), part.vSparse.end());
        vNeighbours.insert(vNeighbours.end(), part.vNeighbours.begin(), part.vNeighbours.end());
    }
    vNumberOf.assign(grid.size(), none);
    for (std::size_t s = 0; s < vSparse.size(); ++s) {
        vNumberOf[vSparse[s].point] = static_cast<std::uint32_t>(s);
        vPlaces.push_back(grid[vSparse[s].point]);
    }
}

Densifier::Found Densifier::findSparseFrom(std::uint32_t begin, std::uint32_t end) const {
    NeighbourSearch search(grid);
    Found found;
    for (std::uint32_t i = begin; i < end; ++i) {
        if (search.hasWithin(i, spacingRank, denseSpacing * cell)) continue;
        const auto& vNear = search.find(i, numNeighbours);
        if (vNear.size() < spacingRank) continue;
        found.vSparse.push_back({i, std::sqrt(vNear[spacingRank - 1].sqDistance), {}, false});
        for (std::size_t k = 0; k < numNeighbours; ++k)
            found.vNeighbours.push_back(k < vNear.size() ? vNear[k].point : i);
    }
    return found;
}

double Densifier::estimateCells(int numLevels) const {
    constexpr double areaPerPoint = 3.14159265358979 / 7.0;  // of a disc with seven points, to its squared radius
    const double most = std::ldexp(cell, numLevels);
    double num = 0.0;
    for (const Sparse& sparse : vSparse)
        if (sparse.spacing <= most) num += areaPerPoint * sparse.spacing * sparse.spacing / (cell * cell);
    return num;
}

std::vector<std::uint64_t> Densifier::countLevels(int numLevels) const {
    std::vector<std::uint64_t> vCounts(static_cast<std::size_t>(numLevels) + 1);
    vCounts[0] = grid.size() - vSparse.size();
    for (const Sparse& sparse : vSparse) {
        int level = 0;
        while (level < numLevels && sparse.spacing > std::ldexp(cell, level)) ++level;
        ++vCounts[static_cast<std::size_t>(level)];
    }
    return vCounts;
}

const Point3& Densifier::getPlace(std::uint32_t point) const {
    return vNumberOf[point] == none ? grid[point] : vPlaces[vNumberOf[point]];
}

namespace {

// The plane through points.
struct PlaneFit {
    Vector3 toCentre;  // from the point in the middle
    SymmetricEigen eigen;
};

// Nearer points count more.
double getRootWeight(double sqDistance, double sqFarthest) {
    return sqFarthest > 0.0 ? 1.0 - sqDistance / (1.1 * sqFarthest) : 1.0;
}

// vArms: from the point in the middle, which counts as well, to the others.
PlaneFit fitPlane(std::span<const Vector3> vArms) {
    double sqFarthest = 0.0;
    for (const Vector3& arm : vArms) sqFarthest = std::max(sqFarthest, arm.sqLength());
    const auto rootWeightOf = [&](const Vector3& arm) { return getRootWeight(arm.sqLength(), sqFarthest); };
    PlaneFit fit;
    double sum = 1.0;
    for (const Vector3& arm : vArms) {
        const double weight = rootWeightOf(arm) * rootWeightOf(arm);
        fit.toCentre += arm * weight;
        sum += weight;
    }
    fit.toCentre /= sum;
    ProductSums sums;
    sums.add(fit.toCentre);
    for (const Vector3& arm : vArms) sums.add((arm - fit.toCentre) * rootWeightOf(arm));
    fit.eigen = getEigen(sums);
    return fit;
}

// A surface, and neither a line nor a heap.
bool isFlat(const std::array<double, 3>& values) {
    constexpr double maxThickness = 0.42;  // of the narrower extent
    constexpr double minWidth = 0.06;      // of the squared extents
    return values[0] < maxThickness * maxThickness * values[1] && values[1] > minWidth * values[2];
}

}  // namespace

// So that the surface stays with its points.
Point3 Densifier::limitMove(const Sparse& sparse, const Point3& place) const {
    constexpr double farthest = 1.2;  // spacings
    const Point3& origin = grid[sparse.point];
    const Vector3 way = place - origin;
    const double length = way.length(), most = farthest * sparse.spacing;
    Point3 limited = length > most ? origin + way * (most / length) : place;
    limited.copyColorFrom(origin);
    return limited;
}

void Densifier::moveOntoPlanes() {
    std::vector<Point3> vMoved(vPlaces.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        std::array<Vector3, numNeighbours> aArms;
        for (std::size_t s = begin; s < end; ++s) {
            for (std::size_t k = 0; k < numNeighbours; ++k)
                aArms[k] = getPlace(vNeighbours[s * numNeighbours + k]) - vPlaces[s];
            const PlaneFit fit = fitPlane(aArms);
            Sparse& sparse = vSparse[s];
            sparse.normal = fit.eigen.vectors[0];
            sparse.bLaysDisc = isFlat(fit.eigen.values);
            vMoved[s] = limitMove(sparse, vPlaces[s] + sparse.normal * (sparse.normal * fit.toCentre));
        }
    });
    vPlaces.swap(vMoved);
}

// Planes cut off what bulges: what all around were moved alike is taken back. What is left of
// a curve is a small share of what is left of noise.
void Densifier::restoreBulges() {
    std::vector<Point3> vRestored(vPlaces.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const std::uint32_t* const pNear = vNeighbours.data() + s * numNeighbours;
            const Point3& origin = grid[vSparse[s].point];
            const double sqFarthest = (grid[pNear[numNeighbours - 1]] - origin).sqLength();
            Vector3 move = vPlaces[s] - origin;
            double sum = 1.0;
            for (std::size_t k = 0; k < numNeighbours; ++k) {
                const Point3& other = grid[pNear[k]];
                const double rootWeight = getRootWeight((other - origin).sqLength(), sqFarthest);
                move += (getPlace(pNear[k]) - other) * (rootWeight * rootWeight);
                sum += rootWeight * rootWeight;
            }
            vRestored[s] = limitMove(vSparse[s], vPlaces[s] - move / sum);
        }
    });
    vPlaces.swap(vRestored);
}

// Discs of flying points and at rims stand askew.
void Densifier::dropDisagreeing() {
    constexpr std::size_t numAsked = 12;
    constexpr double minCosine = 0.8;
    std::vector<char> vDrop(vSparse.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            int agreement = 0;
            for (std::size_t k = 0; k < numAsked; ++k) {
                const std::uint32_t other = vNumberOf[vNeighbours[s * numNeighbours + k]];
                if (other == none || !vSparse[other].bLaysDisc) continue;
                agreement += std::abs(vSparse[other].normal * vSparse[s].normal) >= minCosine ? 1 : -1;
            }
            vDrop[s] = agreement < 0;
        }
    });
    for (std::size_t s = 0; s < vSparse.size(); ++s)
        if (vDrop[s]) vSparse[s].bLaysDisc = false;
}

Disc Densifier::makeDisc(std::size_t number) const {
    constexpr double share = 0.85;      // of the way to the neighbour
    constexpr double longestWay = 4.0;  // spacings
    constexpr double rim = 0.5;         // spacings that the surface goes on where nobody is
    const Sparse& sparse = vSparse[number];
    Disc disc(vPlaces[number], sparse.normal, sparse.spacing);
    for (Disc::Reach& reach : disc.aReach) reach.length = longestWay * sparse.spacing;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        const std::uint32_t other = vNeighbours[number * numNeighbours + k];
        const Vector3 arm = getPlace(other) - disc.centre;
        const double right = arm * disc.right, up = arm * disc.up;
        const double distance = std::sqrt(right * right + up * up);
        if (other == sparse.point || std::abs(arm * disc.normal) > std::max(distance, sparse.spacing)) continue;
        Disc::Reach& reach = disc.aReach[Disc::getSector(right, up)];
        if (distance < reach.length) reach = {distance, right / distance, up / distance};
    }
    for (Disc::Reach& reach : disc.aReach)
        reach.length = share * (reach.hasNeighbour() ? std::max(reach.length, sparse.spacing) : rim * sparse.spacing);
    return disc;
}

bool Densifier::holdsDense(uint64 ccd) const {
    const PointGrid::Range range = grid.getPointsOf(ccd);
    for (std::uint32_t i = range.first; i < range.second; ++i)
        if (vNumberOf[i] == none) return true;
    return false;
}

std::vector<Point3> Densifier::run(int numLevels) {
    constexpr int numRounds = 3;
    for (int round = 0; round < numRounds; ++round) moveOntoPlanes();
    restoreBulges();
    dropDisagreeing();
    const double most = std::ldexp(cell, numLevels);
    std::vector<Disc> vDiscs;
    for (std::size_t s = 0; s < vSparse.size(); ++s)
        if (vSparse[s].bLaysDisc && vSparse[s].spacing <= most) vDiscs.push_back(makeDisc(s));
    std::vector<std::uint32_t>().swap(vNeighbours);
    std::vector<DrawnCell> vAdded = drawDiscs(vDiscs, grid.getCalc());
    std::erase_if(vAdded, [&](const DrawnCell& drawn) { return holdsDense(drawn.ccd); });
    std::vector<Point3> vAll;
    vAll.reserve(grid.size() + vAdded.size());
    for (std::uint32_t i = 0; i < grid.size(); ++i) vAll.push_back(getPlace(i));
    for (const DrawnCell& drawn : vAdded) {
        vAll.push_back(drawn.place);
        vAddedCells.emplace_back(drawn.ccd, static_cast<float>(vDiscs[drawn.disc].spacing));
    }
    return vAll;
}

}  // namespace QUOR_ZEF
