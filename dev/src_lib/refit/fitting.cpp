#include "refit/fitting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <utility>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = RefitSurface::minChunk;

// Close to exp(-q), and 0 from 4 on.
float bell(float q) {
    const float left = std::max(0.0F, 1.0F - 0.25F * q);
    return left * left * left * left;
}

// Calls fn(triangle) for the triangles around each of the corners: one across an edge comes
// twice, the triangle itself not at all.
template <class Fn>
void forEachAround(const RefitSurface& surface, std::size_t face, const Fn& fn) {
    for (std::size_t i = 3 * face; i < 3 * face + 3; ++i)
        for (const std::uint32_t t : surface.fans[surface.vTriples[i]])
            if (t != face) fn(t);
}

template <class Fn>
void forEachFace(const RefitSurface& surface, const Fn& fn) {
    parallelChunks(surface.numTriangles(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t) fn(t);
    });
}

// Points of a face, or of its surroundings, each with its weight.
struct PointSum {
    float x = 0.0F, y = 0.0F, z = 0.0F;  // from the middle of the face, world units
    float num = 0.0F;
};

std::vector<PointSum> sumPoints(const RefitSurface& surface, const FacePoints& points) {
    std::vector<PointSum> vSums(surface.numTriangles());
    forEachFace(surface, [&](std::size_t t) {
        Vector3 sum;
        for (const Vector3& p : points.of(t)) sum += p - surface.vCentres[t];
        vSums[t] = {static_cast<float>(sum.vx), static_cast<float>(sum.vy), static_cast<float>(sum.vz),
                    static_cast<float>(points.count(t))};
    });
    return vSums;
}

FaceNormal filteredNormal(const RefitSurface& surface, std::size_t face, float sharpness) {
    const FaceNormal& own = surface.vNormals[face];
    float x = own.x * own.area, y = own.y * own.area, z = own.z * own.area;
    forEachAround(surface, face, [&](std::uint32_t t) {
        const FaceNormal& other = surface.vNormals[t];
        const float weight = other.area * bell((1.0F - own * other) * sharpness);
        x += weight * other.x;
        y += weight * other.y;
        z += weight * other.z;
    });
    const float length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 0.0F)) return own;
    return {x / length, y / length, z / length, own.area};
}

}  // namespace

void filterNormals(RefitSurface& surface, const std::vector<FaceFit>& vFits, double sigma) {
    const auto sharpness = static_cast<float>(1.0 / (sigma * sigma));
    float numSweeps = 0.0F;
    for (const FaceFit& fit : vFits) numSweeps = std::max(numSweeps, fit.numSweeps);
    std::vector<FaceNormal> vFiltered(surface.numTriangles());
    for (float sweep = 0.5F; sweep < numSweeps; sweep += 1.0F) {
        forEachFace(surface, [&](std::size_t t) {
            vFiltered[t] = vFits[t].numSweeps > sweep ? filteredNormal(surface, t, sharpness) : surface.vNormals[t];
        });
        std::swap(surface.vNormals, vFiltered);
    }
}

FaceOffsets fitOffsets(const RefitSurface& surface, const FacePoints& points, const std::vector<FaceFit>& vFits,
                       double sigma) {
    constexpr float widest = 0.75F;  // mean edges: what one sweep over the triangles around bears
    const auto sharpness = static_cast<float>(2.0 / (sigma * sigma));
    const auto edge = static_cast<float>(surface.edge);
    const auto sweepsOf = [&](const FaceFit& fit) {
        const float ratio = 0.5F * fit.radius / (widest * edge);
        return std::clamp(std::ceil(ratio * ratio), 1.0F, 6.0F);
    };
    float numSweeps = 1.0F;
    for (const FaceFit& fit : vFits) numSweeps = std::max(numSweeps, sweepsOf(fit));
    std::vector<PointSum> vSums = sumPoints(surface, points), vWider(vSums.size());
    for (float sweep = 0.5F; sweep < numSweeps; sweep += 1.0F) {
        forEachFace(surface, [&](std::size_t face) {
            PointSum sum = vSums[face];
            const float num = sweepsOf(vFits[face]);
            if (num > sweep) {
                const float width = 0.5F * vFits[face].radius, narrowness = 0.5F * num / (width * width);
                const FaceNormal& own = surface.vNormals[face];
                const Vector3 centre = surface.vCentres[face];
                forEachAround(surface, face, [&](std::uint32_t t) {
                    const PointSum& other = vSums[t];
                    const Vector3 away = surface.vCentres[t] - centre;
                    const auto x = static_cast<float>(away.vx), y = static_cast<float>(away.vy),
                               z = static_cast<float>(away.vz);
                    const float q =
                        (x * x + y * y + z * z) * narrowness + (1.0F - own * surface.vNormals[t]) * sharpness;
                    const float weight = bell(q);
                    sum.x += weight * (other.x + other.num * x);
                    sum.y += weight * (other.y + other.num * y);
                    sum.z += weight * (other.z + other.num * z);
                    sum.num += weight * other.num;
                });
            }
            vWider[face] = sum;
        });
        std::swap(vSums, vWider);
    }
    FaceOffsets offsets;
    offsets.vOffsets.resize(vSums.size());
    offsets.vSupport.resize(vSums.size());
    forEachFace(surface, [&](std::size_t t) {
        const PointSum& sum = vSums[t];
        const FaceNormal& n = surface.vNormals[t];
        offsets.vOffsets[t] = sum.num > 0.0F ? (n.x * sum.x + n.y * sum.y + n.z * sum.z) / sum.num : 0.0F;
        offsets.vSupport[t] = sum.num;
    });
    return offsets;
}

void moveOntoPlanes(RefitSurface& surface, const FaceOffsets& offsets, const std::vector<Vector3>& vOld, double maxMove,
                    int numSteps) {
    std::vector<Vector3> vMoved(surface.numVertices());
    for (int step = 0; step < numSteps; ++step) {
        parallelChunks(surface.numVertices(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const std::span<const std::uint32_t> fan = surface.fans[i];
                const Vector3 place = surface.vPlaces[i];
                Vector3 sum;
                for (const std::uint32_t t : fan) {
                    const FaceNormal& n = surface.vNormals[t];
                    const double distance = n * (surface.vCentres[t] - place) + double{offsets.vOffsets[t]};
                    sum += n.toVector() * distance;
                }
                const Vector3 moved = place + sum * (1.0 / static_cast<double>(std::max<std::size_t>(fan.size(), 1)));
                const Vector3 away = moved - vOld[i];
                const double length = away.length();
                vMoved[i] = length > maxMove ? vOld[i] + away * (maxMove / length) : moved;
            }
        });
        std::swap(surface.vPlaces, vMoved);
    }
}

}  // namespace QUOR_ZEF
