#include "refit/RefitSurface.h"

#include "flat/arrays.h"
#include "flat/triangleSides.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

Vector3 crossOf(const Vector3& a, const Vector3& b, const Vector3& c) {
    const Vector3 u = b - a, v = c - a;
    return {u.vy * v.vz - u.vz * v.vy, u.vz * v.vx - u.vx * v.vz, u.vx * v.vy - u.vy * v.vx};
}

FaceNormal normalOf(const Vector3& a, const Vector3& b, const Vector3& c) {
    const Vector3 cross = crossOf(a, b, c);
    const double length = cross.length();
    if (!(length > 0.0)) return {};
    return {static_cast<float>(cross.vx / length), static_cast<float>(cross.vy / length),
            static_cast<float>(cross.vz / length), static_cast<float>(0.5 * length)};
}

RefitSurface::RefitSurface(const TriangleMesh& mesh) : vTriples(mesh.indices), edge(meanSideLength(mesh)) {
    vPlaces.reserve(mesh.vertices.size());
    for (const Point3& p : mesh.vertices) vPlaces.emplace_back(p.px, p.py, p.pz);
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

void RefitSurface::renewNormals() {
    vCentres.resize(numTriangles());
    vNormals.resize(numTriangles());
    parallelChunks(numTriangles(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t) {
            const Vector3 &a = corner(3 * t), &b = corner(3 * t + 1), &c = corner(3 * t + 2);
            vCentres[t] = (a + b + c) * (1.0 / 3.0);
            vNormals[t] = normalOf(a, b, c);
        }
    });
}

}  // namespace QUOR_ZEF
