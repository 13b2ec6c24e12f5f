#include "refit/fitting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "geometry/Float4.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// Close to exp(-q), and 0 from 4 on.
Float4 bell(Float4 q) {
    const Float4 left = 1.0F - 0.25F * q, positive = select(left > 0.0F, left, Float4{});
    return positive * positive * positive * positive;
}

// Points of a face, or of its surroundings, each with its weight.
struct PointSum {
    float x = 0.0F, y = 0.0F, z = 0.0F;  // from the middle of the face, world units
    float num = 0.0F;
    float height = 0.0F;  // from the planes of their own faces
};

Columns4 normalsAt(const RefitSurface& surface, const std::uint32_t* pEntries) {
    const auto row = [&](std::size_t i) { return firstFourOf(surface.vNormals[FaceRings::faceOf(pEntries[i])]); };
    return {row(0), row(1), row(2), row(3)};
}

// How much four triangles of a ring count; 0 from num on.
Float4 countsOf(const std::uint32_t* pEntries, std::uint32_t num) {
    Int4 entries;
    std::memcpy(&entries, pEntries, sizeof(entries));
    const Float4 counts = __builtin_convertvector(1 + (entries & 1), Float4);
    return select(Int4{0, 1, 2, 3} < static_cast<std::int32_t>(num), counts, Float4{});
}

// Those of the part and of its rings; the others stay 0.
std::vector<PointSum> sumPoints(const RefitSurface& surface, const RefitPart& part, const FacePoints& points) {
    std::vector<PointSum> vSums(surface.numTriangles());
    const std::vector<std::uint32_t> vFaces = surface.facesAround(part);
    forEachBelow(vFaces.size(), [&](std::size_t i) {
        const std::size_t t = vFaces[i];
        Vector3 sum;
        for (const Vector3& p : points.of(t)) sum += p - surface.vCentres[t];
        vSums[t] = {static_cast<float>(sum.vx), static_cast<float>(sum.vy), static_cast<float>(sum.vz),
                    static_cast<float>(points.count(t)), static_cast<float>(surface.vNormals[t] * sum)};
    });
    return vSums;
}

// In each sweep the faces of a part go to their next values, by those that all have had before. A face takes
// part in as many sweeps as vNumSweeps tells, by position in the part, and nextAt(position) is its next value.
template <class T, class NextAt>
void sweepFaces(const RefitPart& part, const std::vector<float>& vNumSweeps, std::vector<T>& vValues,
                const NextAt& nextAt) {
    std::vector<std::uint32_t> vAtWork(part.vFaces.size());
    std::iota(vAtWork.begin(), vAtWork.end(), 0U);
    std::vector<T> vNext;
    for (float sweep = 0.5F;; sweep += 1.0F) {
        std::erase_if(vAtWork, [&](std::uint32_t k) { return !(vNumSweeps[k] > sweep); });
        if (vAtWork.empty()) return;
        vNext.resize(vAtWork.size());
        forEachBelow(vAtWork.size(), [&](std::size_t i) { vNext[i] = nextAt(vAtWork[i]); });
        forEachBelow(vAtWork.size(), [&](std::size_t i) { vValues[part.vFaces[vAtWork[i]]] = vNext[i]; });
    }
}

FaceNormal filteredNormal(const RefitSurface& surface, std::size_t face, const FaceRings& rings, std::size_t position,
                          float sharpness) {
    const FaceNormal& own = surface.vNormals[face];
    Float4 sum = firstFourOf(own) * own.area;
    rings.forEachFour(position, [&](const std::uint32_t* pEntries, std::uint32_t num) {
        const Columns4 others = normalsAt(surface, pEntries);
        const Float4 cosines = own.x * others.x + own.y * others.y + own.z * others.z;
        const Float4 weights = countsOf(pEntries, num) * others.w * bell((1.0F - cosines) * sharpness);
        for (std::size_t i = 0; i < 4; ++i)
            sum += weights[i] * firstFourOf(surface.vNormals[FaceRings::faceOf(pEntries[i])]);
    });
    const float length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
    if (!(length > 0.0F)) return own;
    sum = sum / length;
    return {sum[0], sum[1], sum[2], own.area};
}

// How many sweeps over the triangles around a face gather the points within its radius.
float sweepsFor(const FaceFit& fit, double edge) {
    constexpr double widest = 0.75;  // mean edges: the deviation that one sweep bears
    constexpr double most = 4.0;
    const double ratio = 0.5 * double{fit.radius} / (widest * edge);
    return static_cast<float>(std::clamp(std::ceil(ratio * ratio), 1.0, most));
}

PointSum widerSum(const RefitSurface& surface, const std::vector<PointSum>& vSums, std::size_t face,
                  const FaceRings& rings, std::size_t position, float narrowness, float sharpness) {
    const FaceNormal& own = surface.vNormals[face];
    const Vector3& centre = surface.vCentres[face];
    Float4 sum = firstFourOf(vSums[face]);
    float height = vSums[face].height;
    rings.forEachFour(position, [&](const std::uint32_t* pEntries, std::uint32_t num) {
        const auto awayOf = [&](std::size_t i) {
            const Vector3 away = surface.vCentres[FaceRings::faceOf(pEntries[i])] - centre;
            return Float4{static_cast<float>(away.vx), static_cast<float>(away.vy), static_cast<float>(away.vz), 0.0F};
        };
        const Float4 rows[4] = {awayOf(0), awayOf(1), awayOf(2), awayOf(3)};
        const Columns4 away(rows[0], rows[1], rows[2], rows[3]), others = normalsAt(surface, pEntries);
        const Float4 cosines = own.x * others.x + own.y * others.y + own.z * others.z;
        const Float4 squares = away.x * away.x + away.y * away.y + away.z * away.z;
        const Float4 weights = countsOf(pEntries, num) * bell(squares * narrowness + (1.0F - cosines) * sharpness);
        for (std::size_t i = 0; i < 4; ++i) {
            const PointSum& other = vSums[FaceRings::faceOf(pEntries[i])];
            sum += weights[i] * (firstFourOf(other) + other.num * rows[i]);
            height += weights[i] * other.height;
        }
    });
    return {sum[0], sum[1], sum[2], sum[3], height};
}

std::vector<PointSum> sumAround(const RefitSurface& surface, const RefitPart& part, const FaceRings& rings,
                                const FacePoints& points, const std::vector<FaceFit>& vFits, double sigma) {
    const auto sharpness = static_cast<float>(4.0 / (sigma * sigma));
    std::vector<float> vNumSweeps(part.vFaces.size());
    forEachBelow(vNumSweeps.size(),
                 [&](std::size_t k) { vNumSweeps[k] = sweepsFor(vFits[part.vFaces[k]], surface.edge); });
    std::vector<PointSum> vSums = sumPoints(surface, part, points);
    sweepFaces(part, vNumSweeps, vSums, [&](std::size_t k) {
        const std::size_t t = part.vFaces[k];
        const float width = 0.5F * vFits[t].radius;
        return widerSum(surface, vSums, t, rings, k, 0.5F * vNumSweeps[k] / (width * width), sharpness);
    });
    return vSums;
}

// To the least sum of squared distances from the planes of the faces around a vertex, and of the squared move.
// The planes stay where they are, so that a step needs only their sums.
class PlaneSum {
public:
    PlaneSum(const RefitSurface& surface, const FaceOffsets& offsets, std::size_t vertex) {
        const Vector3& place = surface.vPlaces[vertex];
        for (const std::uint32_t t : surface.fans[vertex]) {
            const Vector3 n = surface.vNormals[t].toVector();
            heights += n * (n * (surface.vCentres[t] - place) + double{offsets.vOffsets[t]});
            sums.add(n);
        }
    }

    // The next step after having moved so far.
    Vector3 step(const Vector3& moved) const {
        constexpr double hold = 1.0;  // faces
        const auto& [xx, xy, xz, yy, yz, zz] = sums;
        const Vector3 right(heights.vx - xx * moved.vx - xy * moved.vy - xz * moved.vz,
                            heights.vy - xy * moved.vx - yy * moved.vy - yz * moved.vz,
                            heights.vz - xz * moved.vx - yz * moved.vy - zz * moved.vz);
        // The matrix is L D L'.
        const double d0 = xx + hold, l10 = xy / d0, l20 = xz / d0, d1 = yy + hold - l10 * xy;
        const double rest = yz - l20 * xy, l21 = rest / d1, d2 = zz + hold - l20 * xz - l21 * rest;
        const double y1 = right.vy - l10 * right.vx, z1 = right.vz - l20 * right.vx - l21 * y1;
        const double z = z1 / d2, y = y1 / d1 - l21 * z, x = right.vx / d0 - l10 * y - l20 * z;
        return {x, y, z};
    }

private:
    ProductSums sums;  // of the normals
    Vector3 heights;
};

}  // namespace

void filterNormals(RefitSurface& surface, const RefitPart& part, const FaceRings& rings,
                   const std::vector<float>& vNumSweeps, double sigma) {
    const auto sharpness = static_cast<float>(1.0 / (sigma * sigma));
    sweepFaces(part, vNumSweeps, surface.vNormals,
               [&](std::size_t k) { return filteredNormal(surface, part.vFaces[k], rings, k, sharpness); });
}

FaceOffsets fitOffsets(const RefitSurface& surface, const RefitPart& part, const FaceRings& rings,
                       const FacePoints& points, const std::vector<FaceFit>& vFits, double sigma, bool bOwn) {
    const std::vector<PointSum> vSums = sumAround(surface, part, rings, points, vFits, sigma);
    FaceOffsets offsets;
    offsets.vOffsets.resize(vSums.size());
    forEachBelow(part.vFaces.size(), [&](std::size_t k) {
        const std::size_t t = part.vFaces[k];
        const PointSum& sum = vSums[t];
        const FaceNormal& n = surface.vNormals[t];
        const float own = bOwn ? vFits[t].ownShare : 0.0F;
        const float height = own * sum.height + (1.0F - own) * (n.x * sum.x + n.y * sum.y + n.z * sum.z);
        offsets.vOffsets[t] = sum.num > 0.0F ? height / sum.num : 0.0F;
    });
    return offsets;
}

void moveOntoPlanes(RefitSurface& surface, const RefitPart& part, const FaceOffsets& offsets,
                    const std::vector<Vector3>& vOld, double maxMove, int numSteps) {
    forEachBelow(part.vVertices.size(), [&](std::size_t k) {
        const std::size_t i = part.vVertices[k];
        const PlaneSum planes(surface, offsets, i);
        const Vector3 before = surface.vPlaces[i] - vOld[i];
        Vector3 away = before;
        for (int step = 0; step < numSteps; ++step) {
            away += planes.step(away - before);
            const double length = away.length();
            if (length > maxMove) away = away * (maxMove / length);
        }
        surface.vPlaces[i] = vOld[i] + away;
    });
}

}  // namespace QUOR_ZEF
