// Points in memory to a mesh file.

#include <zef/zef.h>

#include <cmath>
#include <iostream>
#include <string>
#include <vector>

namespace {

// A ball, each point with its colour; a scanner would know nothing more either.
std::vector<zef::Point3> makePoints() {
    constexpr int numPoints = 20000;
    constexpr double goldenAngle = 2.399963229728653;
    std::vector<zef::Point3> points;
    for (int i = 0; i < numPoints; ++i) {
        const double z = 1.0 - 2.0 * (i + 0.5) / numPoints, radius = std::sqrt(1.0 - z * z);
        points.emplace_back(radius * std::cos(goldenAngle * i), radius * std::sin(goldenAngle * i), z);
        points.back().setColor(200, 100, 50, 255);
    }
    return points;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : "ball.ply";
    try {
        const zef::Reconstruction made = zef::reconstruct(makePoints());
        zef::write(path, made.mesh);
        const zef::MeshReport report = zef::check(made.mesh);
        std::cout << path << ": " << report.numTriangles << " triangles, volume " << report.volume << '\n';
        return report.closed && report.manifold ? 0 : 1;
    } catch (const zef::Error& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
