#include "density/ThinSheets.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/symmetricEigen.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minSheetPoints = 256;
// All in cells.
constexpr double reach = 1.8;        // of the points that tell a normal
constexpr double weightWidth = 1.2;  // from there on they hardly count
constexpr double sheetWidth = 0.35;  // half of it
constexpr double farEnough = 4.0;    // of sheets that the grid keeps apart, whichever way they lie
constexpr double tubeRadius = 1.1;   // in which sheets above each other are looked for
constexpr double linkReach = 1.3;    // of the points that move alike
constexpr std::size_t fewestInSheet = 3;
constexpr double alike = 0.7;  // cosine between the normals of sheets above each other
constexpr int numRounds = 30;
constexpr double farthest = 5.5;  // that is looked for

template <class Sheet>
bool isThin(const Sheet& sheet) {
    return (sheet.above > 0.0F && sheet.above < farEnough) || (sheet.below > 0.0F && sheet.below < farEnough);
}

template <class Near>
std::vector<double> weightsOf(const Near& near) {
    std::vector<double> vWeights;
    vWeights.reserve(near.size());
    for (const auto& [way, k] : near) vWeights.push_back(std::exp(-way.sqLength() / (weightWidth * weightWidth)));
    return vWeights;
}

struct Circle {
    Vector3 middle;
    double radius = 0.0;  // 0: none
};

// That through the points, and that at 0, seen along an axis: across it are u and v (I. Kasa, A circle fitting
// procedure and its error analysis, 1976).
template <class Near, class IsNear>
Circle fitCircle(const Near& near, const IsNear& isNear, const Vector3& mean, const Vector3& u, const Vector3& v) {
    double uu = 0.0, uv = 0.0, vv = 0.0, us = 0.0, vs = 0.0, squares = 0.0, num = 0.0;
    const auto add = [&](const Vector3& way) {
        const double a = u * (way - mean), b = v * (way - mean), s = a * a + b * b;
        uu += a * a, uv += a * b, vv += b * b, us += a * s, vs += b * s, squares += s, num += 1.0;
    };
    add({});
    for (const auto& [way, k] : near)
        if (isNear(way)) add(way);
    const double det = uu * vv - uv * uv;
    if (!(det > 0.0)) return {};
    const double a = 0.5 * (us * vv - vs * uv) / det, b = 0.5 * (vs * uu - us * uv) / det;
    return {mean + u * a + v * b, std::sqrt(squares / num + a * a + b * b)};
}

// Of the points of a sheet above a plane, in cells.
struct Heights {
    double num = 0.0, sum = 0.0, squares = 0.0, highest = 0.0;

    void add(double height) {
        num += 1.0;
        sum += height;
        squares += height * height;
        highest = std::max(highest, height);
    }
    double getMean() const { return sum / std::max(num, 1.0); }
    double getSpread() const { return std::max(squares - sum * getMean(), 0.0); }
};

// Cut in its middle, noise about one surface gives two heaps whose means are some three deviations apart.
bool areApart(const Heights& own, const Heights& other, double gap, double height) {
    constexpr double clear = 0.5, notable = 0.25, sqDeviations = 20.0;
    if (gap >= clear * height) return true;
    const double variance = (own.getSpread() + other.getSpread()) / std::max(own.num + other.num - 2.0, 1.0);
    const double apart = other.getMean() - own.getMean();
    return gap > notable * height && apart * apart > sqDeviations * variance;
}

}  // namespace

// The points within some cells of one, for points that are asked in the grid's order.
class ThinSheets::Gatherer {
public:
    Gatherer(const PointGrid& pointGrid, int blocksAround) : grid(pointGrid), width(blocksAround) {}

    const Near& find(std::uint32_t i, double radius) {
        lookAround(grid.getCell(i) >> 3);
        near.clear();
        const Point3& p = grid[i];
        const double side = grid.getCalc().getCellSize(), sqRadius = radius * radius;
        for (const auto& [first, last] : vRanges) {
            for (std::uint32_t k = first; k < last; ++k) {
                const Vector3 way = (grid[k] - p) / side;
                if (k != i && way.sqLength() <= sqRadius) near.emplace_back(way, k);
            }
        }
        return near;
    }

private:
    void lookAround(uint64 block) {
        if (block == current) return;
        current = block;
        vRanges.clear();
        const GridCoords at = unpackCCD(block);
        const auto w = static_cast<uint64>(width);
        for (uint64 x = at.x - w; x != at.x + w + 1; ++x)
            for (uint64 y = at.y - w; y != at.y + w + 1; ++y)
                for (uint64 z = at.z - w; z != at.z + w + 1; ++z) {
                    const PointGrid::Range range = grid.getBlock(1, packCCD(x, y, z));
                    if (range.first != range.second) vRanges.push_back(range);
                }
    }

    const PointGrid& grid;
    const int width;
    uint64 current = ~uint64{0};
    std::vector<PointGrid::Range> vRanges;
    Near near;
};

ThinSheets::ThinSheets(const PointGrid& pointGrid)
    : grid(pointGrid), cell(pointGrid.getCalc().getCellSize()), vSheets(pointGrid.size()), calc(pointGrid.getCalc()) {
    findSheets();
    findPartners();
    dropLonely();
    linkActive();
    dropSmall();
}

template <class Fn>
void ThinSheets::forEachPoint(const Fn& fn) const {
    parallelChunks(grid.size(), minSheetPoints, [&](std::size_t begin, std::size_t end) {
        Gatherer gatherer(grid, 1), wide(grid, 3);
        for (std::size_t i = begin; i < end; ++i) fn(static_cast<std::uint32_t>(i), gatherer, wide);
    });
}

// The plane through the point that leaves the fewest neighbours far off, of those through two of the nearest, moved to
// the best fit of what lies near it. Points of another sheet so have no say.
ThinSheets::Sheet ThinSheets::findSheet(const Near& near) const {
    constexpr std::size_t numNearest = 8;
    if (near.size() < numNearest) return {};
    const std::vector<double> vWeights = weightsOf(near);
    std::array<std::pair<double, std::size_t>, numNearest> aNearest;
    aNearest.fill({std::numeric_limits<double>::infinity(), 0});
    for (std::size_t k = 0; k < near.size(); ++k) {
        const double sqLength = near[k].first.sqLength();
        if (sqLength >= aNearest.back().first) continue;
        std::size_t at = numNearest - 1;
        for (; at > 0 && aNearest[at - 1].first > sqLength; --at) aNearest[at] = aNearest[at - 1];
        aNearest[at] = {sqLength, k};
    }
    Vector3 best;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t a = 0; a < numNearest; ++a) {
        for (std::size_t b = 0; b < a; ++b) {
            const Vector3 &u = near[aNearest[a].second].first, &v = near[aNearest[b].second].first;
            Vector3 normal = cross(u, v);
            const double length = normal.length();
            if (!(length > 0.4 * u.length() * v.length())) continue;
            normal /= length;
            double sum = 0.0;
            for (std::size_t k = 0; k < near.size(); ++k)
                sum += vWeights[k] * std::min(std::abs(normal * near[k].first), sheetWidth);
            if (sum < least) least = sum, best = normal;
        }
    }
    Sheet sheet;
    sheet.normal = best;
    refine(near, vWeights, sheet);
    return sheet;
}

// The best of the planes around that pass the point.
ThinSheets::Sheet ThinSheets::adoptSheet(const Sheet& own, const Near& near) const {
    if (own.normal.isDegenerate()) return own;
    const std::vector<double> vWeights = weightsOf(near);
    Sheet best = own;
    double least = misfit(near, vWeights, own);
    for (const auto& [way, k] : near) {
        if (way.sqLength() > linkReach * linkReach) continue;
        Sheet other = vSheets[k];
        other.height += static_cast<float>(other.normal * way);
        if (std::abs(other.height) > sheetWidth || other.normal.isDegenerate()) continue;
        const double sum = misfit(near, vWeights, other);
        if (sum < least) least = sum, best = other;
    }
    refine(near, vWeights, best);
    return best;
}

double ThinSheets::misfit(const Near& near, const std::vector<double>& vWeights, const Sheet& sheet) {
    double sum = 0.0;
    for (std::size_t k = 0; k < near.size(); ++k)
        sum += vWeights[k] *
               std::min(std::abs(sheet.normal * near[k].first - static_cast<double>(sheet.height)), sheetWidth);
    return sum;
}

void ThinSheets::refine(const Near& near, const std::vector<double>& vWeights, Sheet& sheet) {
    double height = static_cast<double>(sheet.height);
    for (int round = 0; round < 3 && !sheet.normal.isDegenerate(); ++round) {
        Vector3 mean;
        double num = 0.0;
        const auto isNear = [&](const Vector3& way) { return std::abs(sheet.normal * way - height) < sheetWidth; };
        for (std::size_t k = 0; k < near.size(); ++k)
            if (isNear(near[k].first)) mean += near[k].first * vWeights[k], num += vWeights[k];
        if (!(num > 0.0)) break;
        mean /= num;
        ProductSums sums;
        for (std::size_t k = 0; k < near.size(); ++k)
            if (isNear(near[k].first)) sums.add((near[k].first - mean) * std::sqrt(vWeights[k]));
        sheet.normal = getEigen(sums).vectors[0];
        height = sheet.normal * mean;
    }
    sheet.height = static_cast<float>(height);
}

void ThinSheets::findSheets() {
    forEachPoint(
        [&](std::uint32_t i, Gatherer& gatherer, Gatherer&) { vSheets[i] = findSheet(gatherer.find(i, reach)); });
    for (int round = 0; round < 2; ++round) {
        std::vector<Sheet> vNext(grid.size());
        forEachPoint([&](std::uint32_t i, Gatherer& gatherer, Gatherer&) {
            vNext[i] = adoptSheet(vSheets[i], gatherer.find(i, reach));
        });
        vSheets.swap(vNext);
    }
}

// side: 1 above, -1 below. Sheets are told by points whose normals agree; what lies between them has any.
float ThinSheets::findPartner(const Sheet& own, const Near& near, double side) const {
    constexpr double coreRadius = 0.6, mostBetween = 0.25;
    Heights ownHeights, others;
    std::array<double, 64> aOthers{}, aCore{};
    std::size_t numOthers = 0, numCore = 0;
    for (const auto& [way, k] : near) {
        const double up = own.normal * way, height = side * (up - static_cast<double>(own.height));
        const double sqAside = way.sqLength() - up * up;
        if (sqAside > tubeRadius * tubeRadius || height > farthest) continue;
        if (sqAside < coreRadius * coreRadius && numCore < aCore.size()) aCore[numCore++] = height;
        if (height < -sheetWidth || std::abs(vSheets[k].normal * own.normal) < alike) continue;
        if (height < sheetWidth)
            ownHeights.add(height);
        else if (numOthers < aOthers.size())
            aOthers[numOthers++] = height;
    }
    std::sort(aOthers.begin(), aOthers.begin() + numOthers);
    std::size_t numSheet = 0;
    for (; numSheet < numOthers && aOthers[numSheet] < aOthers[0] + 2.0 * sheetWidth; ++numSheet)
        others.add(aOthers[numSheet]);
    if (numSheet < fewestInSheet) return 0.0F;
    const double height = aOthers[numSheet / 2];
    const auto isBetween = [&](double h) { return h > ownHeights.highest + 0.25 * height && h < 0.75 * height; };
    const auto numBetween = std::count_if(aCore.begin(), aCore.begin() + numCore, isBetween);
    if (static_cast<double>(numBetween) > mostBetween * static_cast<double>(numSheet)) return 0.0F;
    return areApart(ownHeights, others, aOthers[0] - ownHeights.highest, height) ? static_cast<float>(height) : 0.0F;
}

// Whether all around lies on one thin tube or pin. Few points go round it, so that normals are worse than its middle.
bool ThinSheets::findTube(Sheet& sheet, const Near& near) const {
    constexpr double tubeReach = 2.5, widest = 1.4, roundest = 0.3;
    constexpr std::size_t fewest = 16;
    const auto isNear = [](const Vector3& way) { return way.sqLength() < tubeReach * tubeReach; };
    Vector3 mean;
    double num = 1.0;
    for (const auto& [way, k] : near)
        if (isNear(way)) mean += way, num += 1.0;
    if (num < fewest) return false;
    mean /= num;
    ProductSums sums;
    sums.add(mean);
    for (const auto& [way, k] : near)
        if (isNear(way)) sums.add(way - mean);
    const SymmetricEigen eigen = getEigen(sums);
    if (eigen.values[1] > 0.5 * eigen.values[2] || eigen.values[0] < 0.25 * eigen.values[1]) return false;
    const Circle circle = fitCircle(near, isNear, mean, eigen.vectors[0], eigen.vectors[1]);
    const Vector3& middle = circle.middle;
    const double radius = circle.radius;
    if (!(radius > 0.0 && radius < widest)) return false;
    const Vector3 &u = eigen.vectors[0], &v = eigen.vectors[1];
    const auto radiusOf = [&](const Vector3& way) { return std::hypot(u * (way - middle), v * (way - middle)); };
    double off = 0.0;
    for (const auto& [way, k] : near)
        if (isNear(way)) off += std::abs(radiusOf(way) - radius);
    if (off > roundest * radius * num) return false;
    const Vector3 out = (u * (u * middle) + v * (v * middle)) * -1.0;
    if (!(out.length() > 0.5 * radius)) return false;
    sheet.normal = normalize(out);
    sheet.height = 0.0F;
    sheet.below = static_cast<float>(2.0 * radius);
    return true;
}

void ThinSheets::findPartners() {
    std::vector<Sheet> vFound(vSheets);
    forEachPoint([&](std::uint32_t i, Gatherer&, Gatherer& wide) {
        Sheet& sheet = vFound[i];
        if (sheet.normal.isDegenerate()) return;
        const Near& near = wide.find(i, farthest);
        const bool bTube = findTube(sheet, near);
        sheet.above = findPartner(sheet, near, 1.0);
        if (!bTube) sheet.below = findPartner(sheet, near, -1.0);
    });
    vSheets.swap(vFound);
}

// Half of what is missing, but no farther than to the middle of what lies beyond.
Vector3 ThinSheets::wishOf(const Sheet& sheet) const {
    // What is thinner than that is one sheet, as two scans of it that do not quite meet, and must become so without a
    // step.
    constexpr double none = 1.15, full = 1.35;
    const bool bUp = sheet.below > 0.0F && (sheet.above <= 0.0F || sheet.below < sheet.above);
    const double near = static_cast<double>(bUp ? sheet.below : sheet.above);
    const double beyond = static_cast<double>(bUp ? sheet.above : sheet.below);
    if (near <= 0.0 || near >= farEnough) return {};
    double way = 0.5 * (farEnough - near);
    if (beyond > 0.0) way = std::min(way, 0.25 * (beyond - near));
    way *= std::clamp((near - none) / (full - none), 0.0, 1.0);
    return sheet.normal * (bUp ? way : -way);
}

bool ThinSheets::isSameSheet(std::uint32_t i, std::uint32_t k, const Vector3& way) const {
    constexpr double most = 0.3;
    return std::min(std::abs(vSheets[i].normal * way), std::abs(vSheets[k].normal * way)) < most;
}

// What most of the points around do not see is none.
void ThinSheets::dropLonely() {
    std::vector<char> vKept(grid.size());
    forEachPoint([&](std::uint32_t i, Gatherer& gatherer, Gatherer&) {
        const Vector3 wish = wishOf(vSheets[i]);
        if (wish.isDegenerate()) return;
        std::size_t num = 0, numAgree = 0, numAgainst = 0;
        for (const auto& [way, k] : gatherer.find(i, linkReach)) {
            if (!isSameSheet(i, k, way)) continue;
            ++num;
            numAgree += wishOf(vSheets[k]) * wish > 0.0;
            numAgainst += wishOf(vSheets[k]) * wish < 0.0;
        }
        vKept[i] = numAgree >= 2 && numAgree >= 2 * numAgainst && 4 * numAgree >= num;
    });
    for (std::size_t i = 0; i < vKept.size(); ++i) {
        if (vKept[i])
            ++numThin;
        else
            vSheets[i].above = vSheets[i].below = 0.0F;
    }
}

// Points in blocks near such that hold thin places.
void ThinSheets::linkActive() {
    constexpr uint64 blocksAround = 3;
    CodeMap wanted;
    for (std::uint32_t i = 0; i < grid.size(); ++i) {
        if (!isThin(vSheets[i])) continue;
        const GridCoords at = unpackCCD(grid.getCell(i) >> 3);
        if (i > 0 && isThin(vSheets[i - 1]) && grid.getCell(i - 1) >> 3 == grid.getCell(i) >> 3) continue;
        for (uint64 x = at.x - blocksAround; x != at.x + blocksAround + 1; ++x)
            for (uint64 y = at.y - blocksAround; y != at.y + blocksAround + 1; ++y)
                for (uint64 z = at.z - blocksAround; z != at.z + blocksAround + 1; ++z)
                    wanted.insert(packCCD(x, y, z), 1);
    }
    for (std::uint32_t i = 0; i < grid.size(); ++i)
        if (wanted.find(grid.getCell(i) >> 3) != CodeMap::npos) vActive.push_back(i);
    const auto vParts = parallelChunkResults<std::pair<std::vector<std::uint32_t>, std::vector<std::uint32_t>>>(
        vActive.size(), minSheetPoints, [&](std::size_t begin, std::size_t end) {
            std::pair<std::vector<std::uint32_t>, std::vector<std::uint32_t>> part;
            Gatherer gatherer(grid, 1);
            for (std::size_t a = begin; a < end; ++a) {
                const std::size_t before = part.second.size();
                for (const auto& [way, k] : gatherer.find(vActive[a], linkReach))
                    if (isSameSheet(vActive[a], k, way)) part.second.push_back(k);
                part.first.push_back(static_cast<std::uint32_t>(part.second.size() - before));
            }
            return part;
        });
    vFirstLink.assign(1, 0);
    for (const auto& [vNums, vPart] : vParts) {
        for (const std::uint32_t num : vNums) vFirstLink.push_back(vFirstLink.back() + num);
        vLinks.insert(vLinks.end(), vPart.begin(), vPart.end());
    }
}

// Thin places of few points that hang together are noise.
void ThinSheets::dropSmall() {
    constexpr std::size_t fewest = 40;
    std::vector<std::uint32_t> vNumberOf(grid.size(), CodeMap::npos);
    for (std::uint32_t a = 0; a < vActive.size(); ++a)
        if (isThin(vSheets[vActive[a]])) vNumberOf[vActive[a]] = a;
    std::vector<std::uint32_t> vGroup;
    for (std::uint32_t a = 0; a < vActive.size(); ++a) {
        if (vNumberOf[vActive[a]] == CodeMap::npos) continue;
        vGroup.assign(1, a);
        vNumberOf[vActive[a]] = CodeMap::npos;
        for (std::size_t at = 0; at < vGroup.size(); ++at) {
            for (std::uint32_t l = vFirstLink[vGroup[at]]; l < vFirstLink[vGroup[at] + 1]; ++l) {
                std::uint32_t& number = vNumberOf[vLinks[l]];
                if (number != CodeMap::npos) vGroup.push_back(std::exchange(number, CodeMap::npos));
            }
        }
        if (vGroup.size() >= fewest) continue;
        for (const std::uint32_t g : vGroup) vSheets[vActive[g]].above = vSheets[vActive[g]].below = 0.0F;
        numThin -= vGroup.size();
    }
}

void ThinSheets::relax() {
    vMoves.resize(grid.size());
    std::vector<Vector3> vWishes(vActive.size()), vNext(vActive.size());
    for (std::size_t a = 0; a < vActive.size(); ++a) vMoves[vActive[a]] = vWishes[a] = wishOf(vSheets[vActive[a]]);
    for (int round = 0; round < numRounds; ++round) {
        parallelChunks(vActive.size(), minSheetPoints, [&](std::size_t begin, std::size_t end) {
            for (std::size_t a = begin; a < end; ++a) {
                Vector3 sum;
                for (std::uint32_t l = vFirstLink[a]; l < vFirstLink[a + 1]; ++l) sum += vMoves[vLinks[l]];
                if (vFirstLink[a] < vFirstLink[a + 1]) sum /= static_cast<double>(vFirstLink[a + 1] - vFirstLink[a]);
                vNext[a] = isThin(vSheets[vActive[a]]) ? (vWishes[a] + sum) * 0.5 : sum * 0.98;
            }
        });
        for (std::size_t a = 0; a < vActive.size(); ++a) vMoves[vActive[a]] = vNext[a];
    }
    for (Vector3& move : vMoves)
        if (move.sqLength() < 1e-4) move = {};
}

std::vector<Point3> ThinSheets::spread() {
    relax();
    std::vector<Point3> vMoved(grid.size());
    for (std::uint32_t i = 0; i < grid.size(); ++i) {
        vMoved[i] = grid[i];
        if (!vMoves[i].isDegenerate()) {
            const Point3 to = grid[i] + vMoves[i] * cell;
            vMoved[i].set(to.px, to.py, to.pz);
        }
    }
    indexMoved(vMoved);
    return vMoved;
}

void ThinSheets::indexMoved(const std::vector<Point3>& vMoved) {
    std::vector<std::pair<uint64, std::uint32_t>> vCoded(vMoved.size());
    for (std::uint32_t i = 0; i < vMoved.size(); ++i) vCoded[i] = {calc.getCCD(vMoved[i]) >> 3, i};
    std::sort(vCoded.begin(), vCoded.end());
    for (const auto& [code, i] : vCoded) {
        if (vMovedPoints.empty() || code != vCoded[vMovedPoints.size() - 1].first) {
            blocks.insert(code, static_cast<std::uint32_t>(vFirst.size()));
            vFirst.push_back(static_cast<std::uint32_t>(vMovedPoints.size()));
        }
        vMovedPoints.emplace_back(vMoved[i], vMoves[i]);
    }
    vFirst.push_back(static_cast<std::uint32_t>(vMovedPoints.size()));
}

Point3 ThinSheets::moveBack(const Point3& place) const {
    constexpr std::size_t numNearest = 6;
    std::array<std::pair<double, std::uint32_t>, numNearest> aNearest;
    aNearest.fill({std::numeric_limits<double>::infinity(), 0});
    const GridCoords at = unpackCCD(calc.getCCD(place) >> 3);
    for (uint64 x = at.x - 1; x != at.x + 2; ++x)
        for (uint64 y = at.y - 1; y != at.y + 2; ++y)
            for (uint64 z = at.z - 1; z != at.z + 2; ++z) {
                const std::uint32_t number = blocks.find(packCCD(x, y, z));
                if (number == CodeMap::npos) continue;
                for (std::uint32_t k = vFirst[number]; k < vFirst[number + 1]; ++k) {
                    const std::pair<double, std::uint32_t> hit((vMovedPoints[k].first - place).sqLength(), k);
                    if (hit >= aNearest.back()) continue;
                    std::size_t to = numNearest - 1;
                    for (; to > 0 && hit < aNearest[to - 1]; --to) aNearest[to] = aNearest[to - 1];
                    aNearest[to] = hit;
                }
            }
    Vector3 sum;
    double weights = 0.0;
    for (const auto& [sqDistance, k] : aNearest) {
        if (!std::isfinite(sqDistance)) break;
        const double weight = 1.0 / (sqDistance + 0.1 * cell * cell);
        sum += vMovedPoints[k].second * weight;
        weights += weight;
    }
    if (!(weights > 0.0) || sum.isDegenerate()) return place;
    Point3 back = place;
    const Point3 to = place - sum * (cell / weights);
    back.set(to.px, to.py, to.pz);
    return back;
}

}  // namespace QUOR_ZEF
