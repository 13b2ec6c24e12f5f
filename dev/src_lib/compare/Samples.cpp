#include "compare/Samples.h"

#include <cmath>

#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// 0 to 1, without 1.
double drawOf(std::uint32_t seed, std::size_t k) {
    constexpr double steps = Rand15::maxValue + 1.0;
    return (Rand15::at(seed, 2 * k) + Rand15::at(seed, 2 * k + 1) / steps) / steps;
}

Point3 pointIn(const TriangleMesh& mesh, std::size_t triangle, double first, double second) {
    const std::uint32_t* const k = &mesh.indices[3 * triangle];
    const Point3 &a = mesh.vertices[k[0]], &b = mesh.vertices[k[1]], &c = mesh.vertices[k[2]];
    // The root makes the area even: corners near a are as narrow as they are short.
    const double along = std::sqrt(first);
    return a + (b - a) * (along * (1.0 - second)) + (c - a) * (along * second);
}

}  // namespace

Vector3 crossOf(const TriangleMesh& mesh, std::size_t triangle) {
    const std::uint32_t* const k = &mesh.indices[3 * triangle];
    const Point3& a = mesh.vertices[k[0]];
    return cross(mesh.vertices[k[1]] - a, mesh.vertices[k[2]] - a);
}

Samples strewSamples(const TriangleMesh& mesh, std::size_t num) {
    double area = 0.0;
    for (std::size_t t = 0; t < mesh.numTriangles(); ++t) area += crossOf(mesh, t).length();
    Samples samples;
    if (!(area > 0.0) || !std::isfinite(area)) return samples;
    samples.vPoints.reserve(num);
    samples.vTriangles.reserve(num);
    std::size_t triangle = 0;
    double reached = crossOf(mesh, 0).length();
    for (std::size_t k = 0; k < num; ++k) {
        const double at = (static_cast<double>(k) + drawOf(1, k)) / static_cast<double>(num) * area;
        while (reached < at && triangle + 1 < mesh.numTriangles()) reached += crossOf(mesh, ++triangle).length();
        samples.vPoints.push_back(pointIn(mesh, triangle, drawOf(2, k), drawOf(3, k)));
        samples.vTriangles.push_back(static_cast<std::uint32_t>(triangle));
    }
    return samples;
}

}  // namespace QUOR_ZEF
