#include "view/Shader.h"

#include <algorithm>
#include <cmath>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

constexpr std::array<Color, 3> fronts = {
    {{172, 192, 214}, {158, 204, 160}, {214, 194, 150}}};  // by mesh, again and again
constexpr Color backColor = {222, 158, 96};
constexpr Color borderColor = {196, 24, 44}, nonManifoldColor = {208, 0, 200};
constexpr Color pointColor = {42, 74, 128};
constexpr std::array<Color, 4> heightColors = {{{44, 72, 138}, {40, 130, 142}, {110, 176, 92}, {236, 202, 72}}};

Color mix(const Color& a, const Color& b, float share) {
    Color color{};
    for (std::size_t i = 0; i < 3; ++i) color[i] = a[i] + share * (b[i] - a[i]);
    return color;
}

// How near a place is to each corner: 1 in all, none below 0.
std::array<double, 3> weightsAt(const std::array<Spot, 3>& s, std::int64_t x, std::int64_t y) {
    const auto cross = [](const Spot& a, const Spot& b, std::int64_t px, std::int64_t py) {
        return static_cast<double>((std::int64_t{b.x} - a.x) * (py - a.y) - (std::int64_t{b.y} - a.y) * (px - a.x));
    };
    const double area = cross(s[0], s[1], s[2].x, s[2].y);
    std::array<double, 3> w = {cross(s[1], s[2], x, y) / area, cross(s[2], s[0], x, y) / area,
                               cross(s[0], s[1], x, y) / area};
    for (double& weight : w) weight = std::clamp(weight, 0.0, 1.0);
    const double sum = w[0] + w[1] + w[2];
    for (double& weight : w) weight /= sum;
    return w;
}

Color colorAt(const TriangleMesh& mesh, const std::uint32_t* c, const std::array<double, 3>& weights,
              const Color& without) {
    Color color{};
    for (std::size_t corner = 0; corner < 3; ++corner) {
        const Point3& p = mesh.vertices[c[corner]];
        const auto w = static_cast<float>(weights[corner]);
        const Color own = p.bHasColor ? Color{float(p.r), float(p.g), float(p.b)} : without;
        for (std::size_t i = 0; i < 3; ++i) color[i] += w * own[i];
    }
    return color;
}

// The sum of those at the corners, each turned to the side that the triangle looks to.
Vector3 normalAt(const Model::Part& part, const std::uint32_t* c, const std::array<double, 3>& weights,
                 const Vector3& flat) {
    Vector3 sum;
    for (std::size_t corner = 0; corner < 3; ++corner) {
        const std::array<float, 3>& n = part.vNormals[c[corner]];
        const Vector3 unit = normalize({n[0], n[1], n[2]});
        sum += unit * (unit * flat < 0.0 ? -weights[corner] : weights[corner]);
    }
    const Vector3 normal = normalize(sum);
    return normal.isDegenerate() ? flat : normal;
}

}  // namespace

Shader::Shader(const ViewScene& scene_, const DrawOptions& options, const Model& model_)
    : scene(scene_), model(model_), bPointColors(options.colors) {
    const Camera& camera = model.projection.getCamera();
    const auto inWorld = [&](double x, double y, double z) {
        return normalize(camera.right * x + camera.up * y + camera.back * z);
    };
    key = inWorld(-0.5, 0.65, 0.75);
    fill = inWorld(0.8, -0.1, 0.6);
    shine = normalize(key + camera.back);
    up = options.yUp ? Vector3(0, 1, 0) : Vector3(0, 0, 1);
    if (scene.meshes.empty()) measureHeight();
}

Color Shader::colorOf(std::uint32_t number, std::int64_t x, std::int64_t y) const {
    if (model.isTriangle(number)) return colorOfTriangle(number, x, y);
    if (!model.isPoint(number))
        return model.vLines[number - model.numTriangles].bNonManifold ? nonManifoldColor : borderColor;
    return colorOfPoint(scene.points[number - model.numTriangles - model.vLines.size()]);
}

Color Shader::colorOfPoint(const Point3& p) const {
    if (bPointColors && p.bHasColor) return {float(p.r), float(p.g), float(p.b)};
    if (height <= 0.0) return pointColor;
    const double share = std::clamp((Vector3(p.px, p.py, p.pz) * up - lowest) / height, 0.0, 1.0);
    const double at = share * (heightColors.size() - 1);
    const std::size_t i = std::min(static_cast<std::size_t>(at), heightColors.size() - 2);
    return mix(heightColors[i], heightColors[i + 1], static_cast<float>(at - static_cast<double>(i)));
}

// From the heights below which lie a hundredth and all but a hundredth, so that single
// points do not take the colours of the others.
void Shader::measureHeight() {
    constexpr std::size_t numLooked = 100000;
    std::vector<double> vHeights;
    for (std::size_t i = 0; i < scene.points.size(); i += scene.points.size() / numLooked + 1) {
        const Point3& p = scene.points[i];
        const double h = Vector3(p.px, p.py, p.pz) * up;
        if (std::isfinite(h)) vHeights.push_back(h);
    }
    if (vHeights.empty()) return;
    std::sort(vHeights.begin(), vHeights.end());
    lowest = vHeights[vHeights.size() / 100];
    height = vHeights[vHeights.size() - 1 - vHeights.size() / 100] - lowest;
}

Color Shader::colorOfTriangle(std::uint32_t number, std::int64_t x, std::int64_t y) const {
    const Model::Part& part = model.partOf(number);
    const TriangleMesh& mesh = *part.pMesh;
    const std::uint32_t* const c = model.cornersOf(part, number);
    const double scale = model.projection.getScale();
    const Vector3 flat = normalize(cross((mesh.vertices[c[1]] - mesh.vertices[c[0]]) * scale,
                                         (mesh.vertices[c[2]] - mesh.vertices[c[0]]) * scale));
    const std::array<double, 3> weights = weightsAt(model.spotsOf(number), x, y);
    const bool bBack = flat * model.projection.getCamera().back < 0.0;
    const Vector3 normal = part.vNormals.empty() ? flat : normalAt(part, c, weights, flat);
    Color color = fronts[static_cast<std::size_t>(&part - model.vParts.data()) % fronts.size()];
    if (part.bColored) color = colorAt(mesh, c, weights, color);
    if (bBack) color = part.bColored ? mix(color, backColor, 0.4F) : backColor;
    return lit(color, bBack ? normal * -1.0 : normal);
}

Color Shader::lit(const Color& color, const Vector3& normal) const {
    const double light = 0.34 + 0.62 * std::max(normal * key, 0.0) + 0.2 * std::max(normal * fill, 0.0);
    double mirrored = std::max(normal * shine, 0.0);
    for (int i = 0; i < 5; ++i) mirrored *= mirrored;
    Color result{};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = static_cast<float>(std::min(color[i] * light + 26.0 * mirrored, 255.0));
    return result;
}

}  // namespace QUOR_ZEF
