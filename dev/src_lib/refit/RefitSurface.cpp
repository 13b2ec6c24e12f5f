#include "refit/RefitSurface.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "flat/arrays.h"
#include "flat/triangleSides.h"
#include "frame/Run.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

std::vector<std::uint32_t> sortUnique(std::vector<std::uint32_t> v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
    return v;
}

// To a multiple of four.
template <class Num>
Num roundedUp(Num num) {
    return (num + 3) & ~Num{3};
}

}  // namespace

// From the lowest corner.
FaceNormal RefitSurface::normalOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) const {
    const std::uint32_t low = std::min({a, b, c});
    const std::uint32_t next = low == a ? b : low == b ? c : a, last = a ^ b ^ c ^ low ^ next;
    const Vector3& p = vPlaces[low];
    const Vector3 normal = cross(vPlaces[next] - p, vPlaces[last] - p);
    const double length = normal.length();
    if (!(length > 0.0)) return {};
    return {static_cast<float>(normal.vx / length), static_cast<float>(normal.vy / length),
            static_cast<float>(normal.vz / length), static_cast<float>(0.5 * length)};
}

RefitSurface::RefitSurface(const TriangleMesh& mesh, double edge_)
    : vTriples(mesh.indices), edge(edge_ > 0.0 ? edge_ : meanSideLength(mesh)) {
    vPlaces.reserve(mesh.vertices.size());
    for (const Point3& p : mesh.vertices) vPlaces.emplace_back(p.px, p.py, p.pz);
    pollRun(0);
    renewFans();
    findOpposites();
    renewNormals();
    for (const FaceNormal& normal : vNormals) area += double{normal.area};
}

void RefitSurface::renewFans() {
    fans = VertexFans(vTriples, vPlaces.size());
}

void RefitSurface::findOpposites() {
    vOpposite.assign(vTriples.size(), none);
    parallelChunks(vTriples.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto side = static_cast<std::uint32_t>(i);
            const std::uint32_t a = vTriples[side], b = vTriples[nextSide(side)];
            for (const std::uint32_t t : fans[a])
                for (std::uint32_t other = 3 * t; other < 3 * t + 3; ++other)
                    if (vTriples[other] == b && vTriples[nextSide(other)] == a) vOpposite[side] = other;
        }
    });
}

void RefitSurface::renewNormal(std::size_t face) {
    const auto [low, middle, high] = sortedCorners(face);
    vCentres[face] = (vPlaces[low] + vPlaces[middle] + vPlaces[high]) * (1.0 / 3.0);
    vNormals[face] = normalOf(vTriples[3 * face], vTriples[3 * face + 1], vTriples[3 * face + 2]);
}

void RefitSurface::renewNormals() {
    vCentres.resize(numTriangles());
    vNormals.resize(numTriangles());
    forEachBelow(numTriangles(), [&](std::size_t t) { renewNormal(t); });
}

void RefitSurface::renewNormals(const std::vector<std::uint32_t>& vFaces) {
    forEachBelow(vFaces.size(), [&](std::size_t i) { renewNormal(vFaces[i]); });
}

std::vector<std::uint32_t> RefitSurface::cornersOf(const std::vector<std::uint32_t>& vFaces) const {
    std::vector<std::uint32_t> vCorners;
    vCorners.reserve(3 * vFaces.size());
    for (const std::uint32_t t : vFaces)
        vCorners.insert(vCorners.end(), {vTriples[3 * t], vTriples[3 * t + 1], vTriples[3 * t + 2]});
    return sortUnique(std::move(vCorners));
}

std::vector<std::uint32_t> RefitSurface::facesAt(const std::vector<std::uint32_t>& vVertices) const {
    std::vector<std::uint32_t> vFaces;
    for (const std::uint32_t i : vVertices) vFaces.insert(vFaces.end(), fans[i].begin(), fans[i].end());
    return sortUnique(std::move(vFaces));
}

std::vector<std::uint32_t> RefitSurface::facesAround(const RefitPart& part) const {
    if (part.vFaces.size() == numTriangles()) return part.vFaces;
    std::vector<char> vAround(numTriangles());
    for (const std::uint32_t i : part.vVertices)
        for (const std::uint32_t t : fans[i]) vAround[t] = 1;
    std::vector<std::uint32_t> vFaces;
    for (std::uint32_t t = 0; t < vAround.size(); ++t)
        if (vAround[t]) vFaces.push_back(t);
    return vFaces;
}

RefitPart RefitSurface::getWhole() const {
    RefitPart part;
    part.vFaces.resize(numTriangles());
    part.vVertices.resize(numVertices());
    std::iota(part.vFaces.begin(), part.vFaces.end(), 0U);
    std::iota(part.vVertices.begin(), part.vVertices.end(), 0U);
    return part;
}

// Marked, since sorting the corners of millions of triangles takes long.
RefitPart RefitSurface::partOf(std::vector<std::uint32_t> vFaces) const {
    RefitPart part{std::move(vFaces), {}};
    std::vector<char> vCorner(numVertices());
    for (std::size_t k = 0; k < part.vFaces.size(); ++k) {
        pollRun(k);
        for (std::size_t side = 3 * std::size_t{part.vFaces[k]}, end = side + 3; side < end; ++side)
            vCorner[vTriples[side]] = 1;
    }
    for (std::uint32_t i = 0; i < vCorner.size(); ++i)
        if (vCorner[i]) part.vVertices.push_back(i);
    return part;
}

// Returns how many there are, at most as the fans of the corners have others; the face itself fills up the last four.
// Writes one more at most.
std::uint32_t RefitSurface::fillRing(std::size_t face, std::uint32_t* pRing) const {
    const auto acrossSide = [&](std::size_t i) {
        const std::uint32_t other = vOpposite[3 * face + i];
        return other == none ? none : other / 3;
    };
    std::array<std::uint32_t, 3> across = {acrossSide(0), acrossSide(1), acrossSide(2)};
    std::sort(across.begin(), across.end());
    std::uint32_t num = 0;
    for (std::size_t i = 0; i < 3; ++i)
        if (across[i] != none && (i == 0 || across[i] != across[i - 1])) pRing[num++] = 2 * across[i] + 1;
    // Without jumps, which would be guessed wrong too often.
    const std::array<std::uint32_t, 4> known = {static_cast<std::uint32_t>(face), across[0], across[1], across[2]};
    for (const std::uint32_t corner : sortedCorners(face)) {
        for (const std::uint32_t t : fans[corner]) {
            std::uint32_t numNew = 1;
            for (const std::uint32_t other : known) numNew &= t != other ? 1U : 0U;
            pRing[num] = 2 * t;
            num += numNew;
        }
    }
    std::fill(pRing + num, pRing + roundedUp(num), static_cast<std::uint32_t>(2 * face));
    return num;
}

void RefitSurface::listRings(const RefitPart& part, FaceRings& rings) const {
    const std::size_t num = part.vFaces.size();
    rings.vStart.resize(num);
    rings.vSizes.resize(num);
    std::size_t most = 0;
    for (std::size_t k = 0; k < num; ++k) {
        pollRun(k);
        rings.vStart[k] = most;
        const std::size_t side = 3 * std::size_t{part.vFaces[k]};
        most += roundedUp(fans[vTriples[side]].size() + fans[vTriples[side + 1]].size() +
                          fans[vTriples[side + 2]].size() - 2);
    }
    if (rings.numPlaces < most) {
        rings.pEntries.reset();
        rings.pEntries = std::make_unique_for_overwrite<std::uint32_t[]>(most);
        rings.numPlaces = most;
    }
    parallelChunks(num, minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t k = begin; k < end; ++k)
            rings.vSizes[k] = fillRing(part.vFaces[k], &rings.pEntries[rings.vStart[k]]);
    });
}

// Normals around a crease differ by much or by little, those of a tight curve by all in between.
bool RefitSurface::isCreased(std::size_t face) const {
    constexpr float muchCosine = 0.77F, littleCosine = 0.96F;
    constexpr int mostBetween = 5;  // one of so many
    int numMuch = 0, numBetween = 0, num = 0;
    for (std::size_t side = 3 * face; side < 3 * face + 3; ++side) {
        for (const std::uint32_t t : fans[vTriples[side]]) {
            const float cosine = vNormals[face] * vNormals[t];
            ++num;
            if (cosine < muchCosine)
                ++numMuch;
            else if (cosine < littleCosine)
                ++numBetween;
        }
    }
    return numMuch > 0 && mostBetween * numBetween <= num;
}

RefitPart RefitSurface::getCreases() const {
    std::vector<char> vBends(numTriangles());
    parallelChunks(numTriangles(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t) vBends[t] = isCreased(t);
    });
    std::vector<char> vNear(numVertices());
    parallelChunks(numVertices(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            for (const std::uint32_t t : fans[i]) vNear[i] = static_cast<char>(vNear[i] | vBends[t]);
    });
    RefitPart part;
    std::vector<char> vUsed(numVertices());
    for (std::uint32_t t = 0; t < numTriangles(); ++t) {
        const std::uint32_t* const pCorners = &vTriples[3 * std::size_t{t}];
        if (!vNear[pCorners[0]] && !vNear[pCorners[1]] && !vNear[pCorners[2]]) continue;
        part.vFaces.push_back(t);
        for (std::size_t i = 0; i < 3; ++i) vUsed[pCorners[i]] = 1;
    }
    for (std::uint32_t i = 0; i < vUsed.size(); ++i)
        if (vUsed[i]) part.vVertices.push_back(i);
    return part;
}

}  // namespace QUOR_ZEF
