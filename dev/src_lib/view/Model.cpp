#include "view/Model.h"

#include <algorithm>
#include <cmath>

#include "flat/EdgeTable.h"
#include "parallel/parallelTransform.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 20000;

template <class Points>
void project(const Points& points, const Projection& projection, std::vector<Spot>& vSpots) {
    vSpots.resize(points.size());
    parallelChunks(points.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vSpots[i] = projection(points[i]);
    });
}

// Sums of the normals of the triangles, which weigh as much as their areas. One after the
// other, so that the sums do not depend on the threads. longest: any length of the scene,
// against overflow.
void addNormals(const TriangleMesh& mesh, double longest, std::vector<std::array<float, 3>>& vNormals) {
    vNormals.assign(mesh.vertices.size(), {});
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const std::uint32_t* const c = mesh.indices.data() + i;
        const Vector3 e = (mesh.vertices[c[1]] - mesh.vertices[c[0]]) * longest;
        const Vector3 f = (mesh.vertices[c[2]] - mesh.vertices[c[0]]) * longest;
        const std::array<float, 3> normal = {static_cast<float>(e.vy * f.vz - e.vz * f.vy),
                                             static_cast<float>(e.vz * f.vx - e.vx * f.vz),
                                             static_cast<float>(e.vx * f.vy - e.vy * f.vx)};
        for (int corner = 0; corner < 3; ++corner) {
            std::array<float, 3>& sum = vNormals[c[corner]];
            for (std::size_t axis = 0; axis < 3; ++axis) sum[axis] += normal[axis];
        }
    }
}

// Dots that leave some room between them where there are many.
double pointSizeFor(std::size_t numPoints, const DrawOptions& options) {
    if (options.pointSize > 0.0) return options.pointSize;
    const double pixels = double(options.width) * options.height;
    return std::clamp(0.7 * std::sqrt(pixels / static_cast<double>(std::max<std::size_t>(numPoints, 1))), 1.0, 5.0);
}

}  // namespace

Model::Model(const ViewScene& scene, const DrawOptions& options) : projection(scene, options) {
    std::size_t num = scene.points.size();
    for (const TriangleMesh* const pMesh : scene.meshes) num += 2 * pMesh->numTriangles();
    if (num >= UINT32_MAX) throw TooLargeError("the scene is too large for a picture; reduce the meshes first");
    for (const TriangleMesh* const pMesh : scene.meshes) addMesh(*pMesh, options);
    if (options.borders)
        for (const Part& part : vParts) addLines(part);
    project(scene.points, projection, vPoints);
    numAll = static_cast<std::uint32_t>(numTriangles + vLines.size() + vPoints.size());
    constexpr double lineWidth = 2.0;  // pixels
    const double perPixel = Spot::unit * options.finer / 2.0;
    lineRadius = static_cast<std::int32_t>(lineWidth * perPixel * std::min(options.width, options.height) / 1200.0);
    lineRadius = std::max(lineRadius, static_cast<std::int32_t>(perPixel));
    pointRadius = static_cast<std::int32_t>(pointSizeFor(vPoints.size(), options) * perPixel);
}

void Model::addMesh(const TriangleMesh& mesh, const DrawOptions& options) {
    Part& part = vParts.emplace_back();
    part.pMesh = &mesh;
    part.firstTriangle = numTriangles;
    numTriangles += static_cast<std::uint32_t>(mesh.numTriangles());
    project(mesh.vertices, projection, part.vSpots);
    if (options.smooth) addNormals(mesh, projection.getScale(), part.vNormals);
    part.bColored = options.colors && mesh.hasColor();
}

void Model::addLines(const Part& part) {
    const EdgeTable edges(part.pMesh->indices, part.pMesh->vertices.size());
    for (const VertexPair& ends : edges.oddEdges()) {
        const Line line{part.vSpots[ends.first], part.vSpots[ends.second], edges.at(ends).size() > 1};
        if (line.a.isSomewhere() && line.b.isSomewhere()) vLines.push_back(line);
    }
}

const Model::Part& Model::partOf(std::uint32_t triangle) const {
    std::size_t i = vParts.size() - 1;
    while (vParts[i].firstTriangle > triangle) --i;
    return vParts[i];
}

std::array<Spot, 3> Model::spotsOf(std::uint32_t triangle) const {
    const Part& part = partOf(triangle);
    const std::uint32_t* const c = cornersOf(part, triangle);
    return {part.vSpots[c[0]], part.vSpots[c[1]], part.vSpots[c[2]]};
}

Stroke Model::strokeOf(std::uint32_t number) const {
    // Half of a line or a point would else lie inside of the surface that it is on.
    const auto lift = [](std::int32_t radius) { return 2.0F * static_cast<float>(radius) / Spot::unit; };
    if (isPoint(number)) {
        const Spot& spot = vPoints[number - numTriangles - vLines.size()];
        return {spot, spot, pointRadius, lift(pointRadius)};
    }
    const Line& line = vLines[number - numTriangles];
    return {line.a, line.b, lineRadius, lift(lineRadius)};
}

}  // namespace QUOR_ZEF
