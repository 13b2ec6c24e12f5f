#include "refit/FacePoints.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "frame/types.h"
#include "geometry/byPlace.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t nobody = RefitSurface::none;

using CodedIndex = std::pair<uint64, std::uint64_t>;  // code of a cell, and what lies there

// Codes that ascend along columns of cells, so that the neighbours of a cell are stretches of
// nine columns. Cells beyond the grid have its outermost codes.
class ColumnGrid {
public:
    ColumnGrid(const RefitSurface& surface) {
        Vector3 high = surface.vPlaces.front();
        low = high;
        for (const Vector3& p : surface.vPlaces) {
            low = {std::min(low.vx, p.vx), std::min(low.vy, p.vy), std::min(low.vz, p.vz)};
            high = {std::max(high.vx, p.vx), std::max(high.vy, p.vy), std::max(high.vz, p.vz)};
        }
        const Vector3 extent = high - low;
        cell = std::max({surface.edge, largest(extent) / 0x1p20, std::max(largest(high), -smallest(low)) / 0x1p50,
                         std::numeric_limits<double>::min()});
        low = {std::floor(low.vx / cell), std::floor(low.vy / cell), std::floor(low.vz / cell)};
    }

    double getCell() const { return cell; }
    uint64 codeAt(const Vector3& p) const {
        return number(p.vx, low.vx) << 42 | number(p.vy, low.vy) << 21 | number(p.vz, low.vz);
    }
    // The lowest of three codes, one above the other, around a cell; k from 0 to 8.
    static uint64 stretchAround(uint64 code, std::size_t k) {
        return code - (uint64{1} << 42 | uint64{1} << 21 | 1) + (uint64{k / 3} << 42 | uint64{k % 3} << 21);
    }

private:
    Vector3 low;  // in cells from the origin of the space, so that parts of a mesh have the same ones
    double cell = 0.0;

    static double largest(const Vector3& v) { return std::max({v.vx, v.vy, v.vz}); }
    static double smallest(const Vector3& v) { return std::min({v.vx, v.vy, v.vz}); }
    uint64 number(double place, double first) const {
        constexpr double margin = 2.0, most = 0x1p21 - 3.0;
        return static_cast<uint64>(std::clamp(std::floor(place / cell) - first + margin, 1.0, most));
    }
};

struct Place {
    Vector3 p;
    std::uint32_t face;
};

// Calls fn(place) for the middle of a triangle, or those of a grid on a long one.
template <class Fn>
void forEachPlace(const RefitSurface& surface, std::uint32_t face, double cell, const Fn& fn) {
    constexpr double maxParts = 64.0;
    const auto [low, middle, high] = surface.sortedCorners(face);
    const Vector3 &a = surface.vPlaces[low], &b = surface.vPlaces[middle], &c = surface.vPlaces[high];
    const double longest = std::sqrt(std::max({(b - a).sqLength(), (c - b).sqLength(), (a - c).sqLength()}));
    const auto num = static_cast<int>(std::clamp(std::floor(longest / cell), 1.0, maxParts));
    if (num < 2) return fn(surface.vCentres[face]);
    for (int i = 0; i < num; ++i)
        for (int k = 0; k + i < num; ++k) fn(a + (b - a) * ((i + 1.0 / 3.0) / num) + (c - a) * ((k + 1.0 / 3.0) / num));
}

// Places of triangles, ascending by code.
class PlaceLists {
public:
    PlaceLists(const RefitSurface& surface, const ColumnGrid& grid) {
        std::vector<Place> vUnsorted;
        vUnsorted.reserve(surface.numTriangles());
        for (std::uint32_t t = 0; t < surface.numTriangles(); ++t) {
            pollRun(t);
            forEachPlace(surface, t, grid.getCell(), [&](const Vector3& p) { vUnsorted.push_back({p, t}); });
        }
        std::vector<CodedIndex> vOrder(vUnsorted.size());
        parallelChunks(vOrder.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) vOrder[i] = {grid.codeAt(vUnsorted[i].p), i};
        });
        sortStableByFirstMT(vOrder.begin(), vOrder.end());
        vCodes.resize(vOrder.size());
        vPlaces.resize(vOrder.size());
        parallelChunks(vOrder.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                vCodes[i] = vOrder[i].first;
                vPlaces[i] = vUnsorted[vOrder[i].second];
            }
        });
    }

    std::vector<uint64> vCodes;
    std::vector<Place> vPlaces;
};

// Goes up nine columns beside each other, for cells that ascend.
class Sweep {
public:
    explicit Sweep(const PlaceLists& lists_) : lists(lists_) { vNext.fill(unknown); }

    // The stretches of places around the cell.
    void moveTo(uint64 code) {
        vNear.clear();
        for (std::size_t k = 0; k < vNext.size(); ++k) {
            const uint64 first = ColumnGrid::stretchAround(code, k);
            std::size_t& next = vNext[k];
            if (next == unknown)
                next = static_cast<std::size_t>(std::lower_bound(lists.vCodes.begin(), lists.vCodes.end(), first) -
                                                lists.vCodes.begin());
            advance(next, first);
            for (std::size_t i = next; i < lists.vCodes.size() && lists.vCodes[i] <= first + 2; ++i)
                vNear.push_back(lists.vPlaces[i]);
        }
    }

    std::uint32_t nearestFace(const Vector3& p, double farthest) const {
        double sqNearest = farthest * farthest;
        std::uint32_t nearest = nobody;
        for (const Place& place : vNear) {
            const double sqDistance = (place.p - p).sqLength();
            if (sqDistance > sqNearest || (sqDistance == sqNearest && place.face > nearest)) continue;
            sqNearest = sqDistance;
            nearest = place.face;
        }
        return nearest;
    }

private:
    static constexpr std::size_t unknown = std::numeric_limits<std::size_t>::max();
    const PlaceLists& lists;
    std::array<std::size_t, 9> vNext{};
    std::vector<Place> vNear;

    void advance(std::size_t& next, uint64 code) const {
        constexpr std::size_t few = 16;
        for (std::size_t i = 0; i < few; ++i, ++next)
            if (next == lists.vCodes.size() || lists.vCodes[next] >= code) return;
        const auto from = lists.vCodes.begin() + static_cast<std::ptrdiff_t>(next);
        next = static_cast<std::size_t>(std::lower_bound(from, lists.vCodes.end(), code) - lists.vCodes.begin());
    }
};

Vector3 toVector(const Point3& p) {
    return {p.px, p.py, p.pz};
}

// Points by cell, those of one cell by coordinates.
std::vector<CodedIndex> sortPoints(const PointSource& points, const ColumnGrid& grid) {
    std::vector<CodedIndex> vOrder(points.size());
    parallelChunks(vOrder.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vOrder[i] = {grid.codeAt(toVector(points[i])), i};
    });
    sortStableByFirstMT(vOrder.begin(), vOrder.end());
    return vOrder;
}

// Where chunks begin that cut no cell apart.
std::vector<std::size_t> boundsOfCells(const std::vector<CodedIndex>& vOrder) {
    std::vector<std::size_t> vBounds = getChunkBounds(vOrder.size(), RefitSurface::minChunk);
    for (std::size_t& bound : vBounds)
        while (bound > 0 && bound < vOrder.size() && vOrder[bound].first == vOrder[bound - 1].first) ++bound;
    return vBounds;
}

std::uint32_t nearestOf(const RefitSurface& surface, std::span<const std::uint32_t> faces, const Vector3& p) {
    constexpr double shareOfMiddle = 0.02;
    double least = std::numeric_limits<double>::infinity();
    std::uint32_t nearest = faces.front();
    for (const std::uint32_t t : faces) {
        const double toMiddle = shareOfMiddle * (surface.vCentres[t] - p).sqLength();
        if (toMiddle >= least) continue;
        const auto [low, middle, high] = surface.sortedCorners(t);
        const Vector3& a = surface.vPlaces[low];
        const double square =
            toMiddle + sqDistanceToTriangle(p - a, surface.vPlaces[middle] - a, surface.vPlaces[high] - a);
        if (square >= least) continue;
        least = square;
        nearest = t;
    }
    return nearest;
}

std::uint32_t nearestMiddle(const RefitSurface& surface, std::span<const std::uint32_t> faces, const Vector3& p) {
    double least = std::numeric_limits<double>::infinity();
    std::uint32_t nearest = faces.front();
    for (const std::uint32_t t : faces) {
        const double square = (surface.vCentres[t] - p).sqLength();
        if (square >= least) continue;
        least = square;
        nearest = t;
    }
    return nearest;
}

}  // namespace

FacePoints::FacePoints(const RefitSurface& surface, const PointSource& points) {
    ASSEX(points.size()<nobody);
    const ColumnGrid grid(surface);
    const PlaceLists lists(surface, grid);
    std::vector<CodedIndex> vOrder = sortPoints(points, grid);
    vFaces.assign(vOrder.size(), nobody);
    vUnsorted.resize(vOrder.size());
    const auto findFaces = [&](std::size_t begin, std::size_t end) {
        Sweep sweep(lists);
        while (begin < end) {
            std::size_t last = begin + 1;
            while (last < end && vOrder[last].first == vOrder[begin].first) ++last;
            const auto at = [&](std::size_t i) { return vOrder.begin() + static_cast<std::ptrdiff_t>(i); };
            std::sort(at(begin), at(last), [&](const CodedIndex& a, const CodedIndex& b) {
                return comesBefore(points[a.second], points[b.second]);
            });
            sweep.moveTo(vOrder[begin].first);
            for (; begin < last; ++begin) {
                vUnsorted[begin] = toVector(points[vOrder[begin].second]);
                vFaces[begin] = sweep.nearestFace(vUnsorted[begin], grid.getCell());
            }
        }
    };
    parallelChunks(boundsOfCells(vOrder), findFaces);

    pollRun(0);
    vUnsortedIndices.resize(vOrder.size());
    for (std::size_t i = 0; i < vOrder.size(); ++i) vUnsortedIndices[i] = static_cast<std::uint32_t>(vOrder[i].second);
    vOrder = {};
    sortByFace(surface.numTriangles());
}

void FacePoints::sortByFace(std::size_t numFaces) {
    vStart.assign(numFaces + 1, 0);
    for (std::size_t i = 0; i < vFaces.size(); ++i) {
        pollRun(i);
        if (vFaces[i] != nobody) ++vStart[vFaces[i] + 1];
    }
    for (std::size_t t = 0; t < numFaces; ++t) vStart[t + 1] += vStart[t];
    vPlaces.resize(vStart.back());
    pollRun(0);
    vIndices.resize(vStart.back());
    vNext.assign(vStart.begin(), vStart.end() - 1);
    for (std::size_t i = 0; i < vFaces.size(); ++i) {
        pollRun(i);
        if (vFaces[i] == nobody) continue;
        const std::uint32_t at = vNext[vFaces[i]]++;
        vPlaces[at] = vUnsorted[i];
        vIndices[at] = vUnsortedIndices[i];
    }
}

void FacePoints::follow(const RefitSurface& surface, const RefitPart& part, const FaceRings& rings) {
    constexpr float creaseCosine = 0.9F;
    std::swap(vPlaces, vUnsorted);
    std::swap(vIndices, vUnsortedIndices);
    vFaces.resize(vUnsorted.size());
    forEachBelow(surface.numTriangles(), [&](std::size_t t) {
        std::fill(vFaces.begin() + vStart[t], vFaces.begin() + vStart[t + 1], static_cast<std::uint32_t>(t));
    });
    parallelChunks(part.vFaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        std::vector<std::uint32_t> vAround;
        for (std::size_t k = begin; k < end; ++k) {
            const std::size_t face = part.vFaces[k];
            if (count(face) == 0) continue;
            vAround.assign(1, part.vFaces[k]);
            for (const std::uint32_t entry : rings[k]) vAround.push_back(FaceRings::faceOf(entry));
            const bool bCrease = surface.bendsBeyond(face, rings[k], creaseCosine);
            for (std::uint32_t i = vStart[face]; i < vStart[face + 1]; ++i)
                vFaces[i] =
                    bCrease ? nearestOf(surface, vAround, vUnsorted[i]) : nearestMiddle(surface, vAround, vUnsorted[i]);
        }
    });
    sortByFace(surface.numTriangles());
}

}  // namespace QUOR_ZEF
