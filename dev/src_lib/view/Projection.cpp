#include "view/Projection.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr double margin = 0.04;     // of the shorter side of the picture, on all sides
constexpr double farthest = 1e150;  // what squares without overflow
constexpr std::size_t minPoints = 20000;

struct Box {
    double low[3] = {infinity, infinity, infinity}, high[3] = {-infinity, -infinity, -infinity};

    void add(const Vector3& v) {
        const double coords[3] = {v.vx, v.vy, v.vz};
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], coords[axis]);
            high[axis] = std::max(high[axis], coords[axis]);
        }
    }
    void add(const Box& box) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], box.low[axis]);
            high[axis] = std::max(high[axis], box.high[axis]);
        }
    }
    bool isEmpty() const { return low[0] > high[0]; }
    double size(int axis) const { return high[axis] - low[axis]; }
    double middle(int axis) const { return low[axis] + size(axis) / 2; }

private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();
};

bool isFinite(const Point3& p) {
    return std::abs(p.px) < farthest && std::abs(p.py) < farthest && std::abs(p.pz) < farthest;
}

// at(i): the point of number i of n.
template <class At>
void addBox(std::size_t n, const Camera& camera, const At& at, Box& box) {
    const std::vector<Box> vBoxes = parallelChunkResults<Box>(n, minPoints, [&](std::size_t begin, std::size_t end) {
        Box part;
        for (std::size_t i = begin; i < end; ++i) {
            const Point3& p = at(i);
            if (isFinite(p)) part.add(camera.toView({p.px, p.py, p.pz}));
        }
        return part;
    });
    for (const Box& part : vBoxes) box.add(part);
}

}  // namespace

Projection::Projection(const ViewScene& scene, const DrawOptions& options)
    : camera(cameraOf(options.from, options.yUp)),
      centreX(options.width * options.finer / 2.0),
      centreY(options.height * options.finer / 2.0) {
    Box box;
    for (const TriangleMesh* const pMesh : scene.meshes)
        addBox(
            pMesh->indices.size(), camera,
            [&](std::size_t i) -> const Point3& { return pMesh->vertices[pMesh->indices[i]]; }, box);
    addBox(
        scene.points.size(), camera, [&](std::size_t i) -> const Point3& { return scene.points[i]; }, box);
    if (box.isEmpty()) return;
    middle = {box.middle(0), box.middle(1), box.middle(2)};
    const double border = 2 * margin * std::min(centreX, centreY);
    const double perX = 2 * (centreX - border) / box.size(0), perY = 2 * (centreY - border) / box.size(1);
    if (std::isfinite(std::min(perX, perY))) scale = std::min(perX, perY);
}

Spot Projection::operator()(const Point3& p) const {
    if (!isFinite(p)) return {};
    const Vector3 v = (camera.toView({p.px, p.py, p.pz}) - middle) * scale;
    // Vertices of no triangle may lie anywhere.
    if (std::abs(v.vx) > 2 * centreX || std::abs(v.vy) > 2 * centreY) return {};
    return {static_cast<std::int32_t>(std::lround((centreX + v.vx) * Spot::unit)),
            static_cast<std::int32_t>(std::lround((centreY - v.vy) * Spot::unit)), static_cast<float>(v.vz)};
}

}  // namespace QUOR_ZEF
