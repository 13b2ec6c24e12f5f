#include "density/Densifier.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "frame/Progress.h"
#include "geometry/symmetricEigen.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 256;
// Enough to see over the edge of a step of quantised depth, and few enough to follow a curve.
constexpr std::size_t numNeighbours = 60;
constexpr double denseSpacing = 0.5;  // cells
constexpr double minCosine = 0.8;     // of the normals of planes that agree
constexpr std::uint32_t none = ~std::uint32_t{0};

}  // namespace

Densifier::Densifier(const PointGrid& pointGrid, Progress* pProgressToTick)
    : grid(pointGrid), pProgress(pProgressToTick), cell(pointGrid.getCalc().getCellSize()) {
    if (grid.size() > 0) findSparse();
}

void Densifier::tick(uint64 num) const {
    if (pProgress) pProgress->tick(num);
}

void Densifier::findSparse() {
    for (uint64 part = 0; part < ticksToFind; ++part) {
        const std::size_t first = grid.size() * part / ticksToFind, last = grid.size() * (part + 1) / ticksToFind;
        const auto vParts =
            parallelChunkResults<Found>(last - first, minChunk, [&](std::size_t begin, std::size_t end) {
                return findSparseFrom(static_cast<std::uint32_t>(first + begin),
                                      static_cast<std::uint32_t>(first + end));
            });
        for (const Found& found : vParts) {
            vSparse.insert(vSparse.end(), found.vSparse.begin(), found.vSparse.end());
            vNeighbours.insert(vNeighbours.end(), found.vNeighbours.begin(), found.vNeighbours.end());
        }
        tick(1);
    }
    vNumberOf.assign(grid.size(), none);
    for (std::size_t s = 0; s < vSparse.size(); ++s) vNumberOf[vSparse[s].point] = static_cast<std::uint32_t>(s);
    vPlaces.reserve(grid.size());
    for (std::uint32_t i = 0; i < grid.size(); ++i) vPlaces.push_back(grid[i]);
}

Densifier::Found Densifier::findSparseFrom(std::uint32_t begin, std::uint32_t end) const {
    NeighbourSearch search(grid);
    Found found;
    const double sqDense = denseSpacing * cell * (denseSpacing * cell);
    bool bSparse = false;
    for (std::uint32_t i = begin; i < end; ++i) {
        // What comes after a sparse point mostly is one.
        if (!bSparse && search.hasWithin(i, spacingRank, denseSpacing * cell)) continue;
        const auto& vNear = search.find(i, numNeighbours);
        bSparse = vNear.size() >= spacingRank && vNear[spacingRank - 1].sqDistance > sqDense;
        if (!bSparse) continue;
        found.vSparse.push_back({i, std::sqrt(vNear[spacingRank - 1].sqDistance), {}, false});
        for (std::size_t k = 0; k < numNeighbours; ++k)
            found.vNeighbours.push_back(k < vNear.size() ? vNear[k].point : i);
    }
    return found;
}

double Densifier::estimateCells(int numLevels) const {
    constexpr double areaPerPoint = 3.14159265358979 / 6.0;  // of a disc with six others, to its squared radius
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

namespace {

// Nearer points count more.
double getRootWeight(double sqDistance, double sqFarthest) {
    return sqFarthest > 0.0 ? 1.0 - sqDistance / (1.1 * sqFarthest) : 1.0;
}

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

// The point itself counts as its neighbours do.
Densifier::Plane Densifier::fitPlane(std::size_t number) const {
    const std::uint32_t* const pNear = vNeighbours.data() + number * numNeighbours;
    const Point3& place = vPlaces[vSparse[number].point];
    std::array<Vector3, numNeighbours> aArms;
    std::array<double, numNeighbours> aRootWeights;  // at first the squared lengths
    double sqFarthest = 0.0;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        aArms[k] = vPlaces[pNear[k]] - place;
        aRootWeights[k] = aArms[k].sqLength();
        sqFarthest = std::max(sqFarthest, aRootWeights[k]);
    }
    for (double& value : aRootWeights) value = getRootWeight(value, sqFarthest);
    Vector3 toCentre;
    double weight = 1.0;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        const double armWeight = aRootWeights[k] * aRootWeights[k];
        toCentre += aArms[k] * armWeight;
        weight += armWeight;
    }
    toCentre /= weight;
    ProductSums sums;
    sums.add(toCentre);
    for (std::size_t k = 0; k < numNeighbours; ++k) sums.add((aArms[k] - toCentre) * aRootWeights[k]);
    const SymmetricEigen eigen = getEigen(sums);
    const auto deviationOf = [&](double value) { return std::sqrt(std::max(value, 0.0) / weight); };
    return {place + toCentre, eigen.vectors[0], deviationOf(eigen.values[0]), deviationOf(eigen.values[1]),
            isFlat(eigen.values)};
}

std::vector<Densifier::Plane> Densifier::fitPlanes() const {
    std::vector<Plane> vPlanes(vSparse.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) vPlanes[s] = fitPlane(s);
    });
    return vPlanes;
}

// Where points have moved since; vMoved: by point.
void Densifier::renewPlanes(const std::vector<char>& vMoved, std::vector<Plane>& vPlanes) const {
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const std::uint32_t* const pNear = vNeighbours.data() + s * numNeighbours;
            char moved = vMoved[vSparse[s].point];
            for (std::size_t k = 0; k < numNeighbours; ++k) moved |= vMoved[pNear[k]];
            if (moved) vPlanes[s] = fitPlane(s);
        }
    });
}

void Densifier::moveOntoPlanes() {
    std::vector<Point3> vMoved = vPlaces;
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const Plane plane = fitPlane(s);
            Sparse& sparse = vSparse[s];
            sparse.normal = plane.normal;
            sparse.bLaysDisc = plane.bFlat;
            const Point3& place = vPlaces[sparse.point];
            vMoved[sparse.point] = limitMove(sparse, place + plane.normal * (plane.normal * (plane.centre - place)));
        }
    });
    vPlaces.swap(vMoved);
}

// Planes cut off what bulges: what all around were moved alike is taken back. What is left of
// a curve is a small share of what is left of noise.
void Densifier::restoreBulges() {
    std::vector<Point3> vRestored = vPlaces;
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const std::uint32_t* const pNear = vNeighbours.data() + s * numNeighbours;
            const std::uint32_t point = vSparse[s].point;
            const Point3& origin = grid[point];
            const double sqFarthest = (grid[pNear[numNeighbours - 1]] - origin).sqLength();
            Vector3 move = vPlaces[point] - origin;
            double sum = 1.0;
            for (std::size_t k = 0; k < numNeighbours; ++k) {
                const Point3& other = grid[pNear[k]];
                const double rootWeight = getRootWeight((other - origin).sqLength(), sqFarthest);
                move += (vPlaces[pNear[k]] - other) * (rootWeight * rootWeight);
                sum += rootWeight * rootWeight;
            }
            vRestored[point] = limitMove(vSparse[s], vPlaces[point] - move / sum);
        }
    });
    vPlaces.swap(vRestored);
}

// A plane across a crease stands off both of its sides, at half the angle. Tells by point which were moved.
std::vector<char> Densifier::sharpenCreases(const std::vector<Plane>& vPlanes) {
    std::vector<Point3> vNewPlaces = vPlaces;
    std::vector<char> vMoved(vPlaces.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const std::uint32_t better = findBetterPlane(s, vPlanes);
            if (better == none || !isCreaseAlong(s, vPlanes[better].normal, vPlanes)) continue;
            Sparse& sparse = vSparse[s];
            const Point3& origin = grid[sparse.point];
            sparse.normal = vPlanes[better].normal;
            sparse.bLaysDisc = true;
            vMoved[sparse.point] = 1;
            vNewPlaces[sparse.point] =
                limitMove(sparse, origin + sparse.normal * (sparse.normal * (vPlanes[better].centre - origin)));
        }
    });
    vPlaces.swap(vNewPlaces);
    return vMoved;
}

// The flat one among the planes of the neighbours that the point and its own neighbours fit
// best, if clearly better than its own. Shifting the window to where the data are simple keeps
// edges (M. Kuwahara et al., Processing of RI-angiocardiographic images, 1976).
std::uint32_t Densifier::findBetterPlane(std::size_t number, const std::vector<Plane>& vPlanes) const {
    constexpr double minThickness = 0.12, maxThickness = 0.2;  // of the width; of the own plane, and of others
    constexpr double share = 0.6;                              // of the own thickness
    const Plane& own = vPlanes[number];
    if (own.thickness <= minThickness * own.width) return none;
    std::uint32_t best = none;
    double least = share * own.thickness;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        const std::uint32_t other = vNumberOf[vNeighbours[number * numNeighbours + k]];
        if (other == none) continue;
        const Plane& plane = vPlanes[other];
        if (!plane.bFlat || plane.thickness > maxThickness * plane.width) continue;
        const double misfit =
            plane.thickness + std::abs((vPlaces[vSparse[number].point] - plane.centre) * plane.normal);
        if (misfit >= least) continue;
        least = misfit;
        best = other;
    }
    return best;
}

// Noise tilts planes too, but not so far.
bool Densifier::isCreaseAlong(std::size_t number, const Vector3& normal, const std::vector<Plane>& vPlanes) const {
    constexpr double maxCosine = 0.6;
    constexpr int minOthers = 4;
    int numOthers = 0;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        const std::uint32_t other = vNumberOf[vNeighbours[number * numNeighbours + k]];
        if (other != none && std::abs(vPlanes[other].normal * normal) < maxCosine) ++numOthers;
    }
    return numOthers >= minOthers;
}

// Discs of flying points and at rims stand askew. What lies beyond a crease has no say.
void Densifier::dropDisagreeing() {
    constexpr std::size_t numAsked = 12;
    constexpr double maxRise = 0.7;  // of the distance
    std::vector<char> vDrop(vSparse.size());
    parallelChunks(vSparse.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            int agreement = 0;
            for (std::size_t k = 0; k < numAsked; ++k) {
                const std::uint32_t neighbour = vNeighbours[s * numNeighbours + k], other = vNumberOf[neighbour];
                if (other == none || !vSparse[other].bLaysDisc) continue;
                const Vector3 arm = vPlaces[neighbour] - vPlaces[vSparse[s].point];
                if (std::abs(arm * vSparse[s].normal) > maxRise * arm.length()) continue;
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
    constexpr double rim = 0.6;         // spacings that the surface goes on where nobody is
    const Sparse& sparse = vSparse[number];
    Disc disc(vPlaces[sparse.point], sparse.normal, sparse.spacing);
    for (Disc::Reach& reach : disc.aReach) reach.length = longestWay * sparse.spacing;
    for (std::size_t k = 0; k < numNeighbours; ++k) {
        const std::uint32_t other = vNeighbours[number * numNeighbours + k];
        const Vector3 arm = vPlaces[other] - disc.centre;
        const double right = arm * disc.right, up = arm * disc.up;
        const double distance = std::sqrt(right * right + up * up);
        if (other == sparse.point || std::abs(arm * disc.normal) > std::max(distance, sparse.spacing)) continue;
        Disc::Reach& reach = disc.aReach[Disc::getSector(right, up)];
        if (distance < reach.length) reach = {distance, right / distance, up / distance};
    }
    for (Disc::Reach& reach : disc.aReach)
        reach.length = share * (reach.hasNeighbour() ? std::max(reach.length, sparse.spacing) : rim * sparse.spacing);
    cutAtCreases(disc, number);
    return disc;
}

void Densifier::cutAtCreases(Disc& disc, std::size_t number) const {
    constexpr double overlap = 1.2;  // cells
    const std::uint32_t* const pNear = vNeighbours.data() + number * numNeighbours;
    const auto layBoth = [&](std::uint32_t other) { return other != none && vSparse[other].bLaysDisc; };
    const auto agrees = [&](std::uint32_t other) { return std::abs(vSparse[other].normal * disc.normal) >= minCosine; };
    // The sum of those that agree, so that a point on the crease itself knows its side.
    Vector3 sum;
    int numAgreeing = 1;
    for (std::size_t k = 0; k < Disc::maxCuts; ++k) {
        const std::uint32_t other = vNumberOf[pNear[k]];
        if (!layBoth(other) || !agrees(other)) continue;
        sum += vPlaces[pNear[k]] - disc.centre;
        ++numAgreeing;
    }
    for (std::size_t k = 0; k < Disc::maxCuts; ++k) {
        const std::uint32_t other = vNumberOf[pNear[k]];
        if (!layBoth(other) || agrees(other)) continue;
        const Vector3 arm = vPlaces[pNear[k]] - disc.centre;
        const Vector3& normal = vSparse[other].normal;
        const double side = (sum - arm * numAgreeing) * normal < 0.0 ? -1.0 : 1.0;
        disc.addCut({normal * side, arm * normal * side - overlap * cell});
    }
}

bool Densifier::holdsDense(uint64 ccd) const {
    const PointGrid::Range range = grid.getPointsOf(ccd);
    for (std::uint32_t i = range.first; i < range.second; ++i)
        if (vNumberOf[i] == none) return true;
    return false;
}

std::vector<std::uint32_t> Densifier::listDiscs(int numLevels) const {
    const double most = std::ldexp(cell, numLevels);
    std::vector<std::uint32_t> vDiscs;
    for (std::size_t s = 0; s < vSparse.size(); ++s)
        if (vSparse[s].bLaysDisc && vSparse[s].spacing <= most) vDiscs.push_back(static_cast<std::uint32_t>(s));
    return vDiscs;
}

std::vector<Point3> Densifier::run(int numLevels) {
    constexpr int numRounds = 3, numSharpenings = 2;
    for (int round = 0; round < numRounds; ++round) {
        moveOntoPlanes();
        tick(2);
    }
    restoreBulges();
    tick(1);
    std::vector<Plane> vPlanes = fitPlanes();
    for (int round = 0; round < numSharpenings; ++round) {
        const std::vector<char> vMoved = sharpenCreases(vPlanes);
        if (round + 1 < numSharpenings) renewPlanes(vMoved, vPlanes);
        tick(2);
    }
    std::vector<Plane>().swap(vPlanes);
    dropDisagreeing();
    const std::vector<std::uint32_t> vDiscs = listDiscs(numLevels);
    std::vector<uint64> vCells;
    vCells.reserve(vDiscs.size());
    for (const std::uint32_t s : vDiscs) vCells.push_back(grid.getCell(vSparse[s].point));
    std::vector<DrawnCell> vAdded = drawDiscs(
        vCells, [&](std::size_t i) { return makeDisc(vDiscs[i]); }, grid.getCalc());
    std::vector<std::uint32_t>().swap(vNeighbours);
    std::erase_if(vAdded, [&](const DrawnCell& drawn) { return holdsDense(drawn.ccd); });
    std::vector<Point3> vAll = std::move(vPlaces);
    vAll.reserve(vAll.size() + vAdded.size());
    for (const DrawnCell& drawn : vAdded) {
        const Sparse& sparse = vSparse[vDiscs[drawn.disc]];
        vAll.push_back(drawn.place);
        vAll.back().copyColorFrom(vAll[sparse.point]);
        vAddedCells.emplace_back(drawn.ccd, static_cast<float>(sparse.spacing));
    }
    return vAll;
}

}  // namespace QUOR_ZEF
