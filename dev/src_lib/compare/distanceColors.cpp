#include "compare/distanceColors.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace QUOR_ZEF {

namespace {

using Color = std::array<double, 3>;

// Those of the scales in pages.
constexpr std::array<Color, 5> scale = {{{44, 72, 138}, {40, 130, 142}, {110, 176, 92}, {236, 202, 72}, {200, 50, 60}}};
constexpr Color unknown = {128, 128, 128};

Color colorOf(double share) {
    const double at = std::clamp(share, 0.0, 1.0) * (scale.size() - 1);
    const std::size_t i = std::min(static_cast<std::size_t>(at), scale.size() - 2);
    const double rest = at - static_cast<double>(i);
    Color color;
    for (std::size_t k = 0; k < color.size(); ++k)
        color[k] = std::round(scale[i][k] + rest * (scale[i + 1][k] - scale[i][k]));
    return color;
}

}  // namespace

void setDistanceColors(TriangleMesh& mesh, std::span<const double> distances, double limit) {
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        const Color color = distances[i] >= 0.0 ? colorOf(distances[i] / limit) : unknown;
        mesh.vertices[i].setColor(static_cast<std::uint8_t>(color[0]), static_cast<std::uint8_t>(color[1]),
                                  static_cast<std::uint8_t>(color[2]), 255);
    }
}

}  // namespace QUOR_ZEF
