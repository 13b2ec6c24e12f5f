// A simulated scan: rays from several viewpoints meet a torus and a sphere that
// grow together on a pedestal. The result is as uneven as real scans: near and
// steep parts are dense, hidden ones are missing, and depth is noisy.
//
//   make_scan OUT.ply [POINTS]
//
// Without arguments it only checks that rays meet the shape where they should.

#include <zef/pointFiles.h>
#include <zef/zef.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using zef::Point3;
using zef::Vector3;

// The same numbers on every machine.
class Random {
public:
    // 0 to below 1.
    double uniform() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state >> 11) * (1.0 / 9007199254740992.0);
    }
    // About normal, with deviation 1 and never beyond 6.
    double normal() {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) sum += uniform();
        return sum;
    }

private:
    std::uint64_t state = 20110425;
};

// Signed distances to the parts, negative inside. The z axis points up.

double torus(const Point3& p) {
    const double ring = std::hypot(p.x(), p.z() - 1.0) - 0.7;
    return std::hypot(ring, p.y()) - 0.25;
}

double sphere(const Point3& p) {
    return std::hypot(p.x() - 0.55, p.y(), p.z() - 1.55) - 0.42;
}

// A disc with rounded edges.
double pedestal(const Point3& p) {
    const double outside = std::hypot(p.x(), p.y()) - 0.85;
    const double above = std::abs(p.z()) - 0.15;
    const double corner = std::hypot(std::max(outside, 0.0), std::max(above, 0.0));
    return corner + std::min(std::max(outside, above), 0.0) - 0.05;
}

// The union of two shapes with a fillet of this width.
double smoothUnion(double a, double b, double width) {
    const double mix = std::max(width - std::abs(a - b), 0.0) / width;
    return std::min(a, b) - mix * mix * width * 0.25;
}

double distanceToShape(const Point3& p) {
    return smoothUnion(smoothUnion(torus(p), sphere(p), 0.1), pedestal(p), 0.1);
}

// Towards growing distance.
Vector3 normalAt(const Point3& p) {
    constexpr double h = 1e-5;
    const auto slope = [&](const Vector3& step) {
        return distanceToShape(p + step) - distanceToShape(p + step * -1.0);
    };
    return zef::normalize(Vector3(slope(Vector3(h, 0, 0)), slope(Vector3(0, h, 0)), slope(Vector3(0, 0, h))));
}

constexpr double missed = -1.0;

// How far along the ray the shape begins, or missed.
double march(const Point3& eye, const Vector3& direction) {
    constexpr double farAway = 8.0;
    constexpr double close = 1e-6;
    double along = 0.0;
    while (along < farAway) {
        const double free = distanceToShape(eye + direction * along);
        if (free < close) return along;
        // The fillets make the distance a little too long.
        along += 0.8 * free;
    }
    return missed;
}

struct Viewpoint {
    Point3 eye;
    double share;  // of the rays
};

Vector3 crossProduct(const Vector3& v, const Vector3& w) {
    return Vector3(v.y() * w.z() - v.z() * w.y(), v.z() * w.x() - v.x() * w.z(), v.x() * w.y() - v.y() * w.x());
}

// Around the shape and above it; nothing looks at it from below.
std::vector<Viewpoint> viewpoints() {
    return {{Point3(3.6, 0.3, 1.6), 1.0},   {Point3(1.4, 2.9, 0.9), 1.0},   {Point3(-1.9, 2.6, 2.2), 0.8},
            {Point3(-3.1, -0.4, 1.1), 0.7}, {Point3(-1.2, -3.0, 1.5), 1.0}, {Point3(1.9, -2.4, 0.6), 0.9},
            {Point3(0.3, 0.4, 4.2), 0.5},   {Point3(0.6, -1.5, 3.4), 0.6}};
}

// One viewpoint's rays go row by row through a window around the shape, each a
// little off its place, as a turning mirror sends them.
void scanFrom(const Viewpoint& view, double numRays, Random& random, std::vector<Point3>& vPoints) {
    constexpr double halfWindow = 1.45;
    constexpr double noise = 0.0015;  // of depth, at a right angle
    const Point3 target(0.05, 0.0, 0.85);
    const Vector3 ahead = zef::normalize(target - view.eye);
    const Vector3 right = zef::normalize(crossProduct(ahead, Vector3(0.1, 0.0, 1.0)));
    const Vector3 up = crossProduct(right, ahead);
    const int numRows = static_cast<int>(std::sqrt(numRays * view.share));
    for (int row = 0; row < numRows; ++row) {
        for (int column = 0; column < numRows; ++column) {
            const double u = halfWindow * (2.0 * (column + 0.6 * random.uniform()) / numRows - 1.0);
            const double v = halfWindow * (2.0 * (row + 0.3 * random.uniform()) / numRows - 1.0);
            const Vector3 direction = zef::normalize(target + right * u + up * v - view.eye);
            const double depth = march(view.eye, direction);
            if (depth == missed) continue;
            // Flat hits come back weaker: noisier, and often not at all.
            const double facing = -(normalAt(view.eye + direction * depth) * direction);
            if (facing < 0.05 + 0.25 * random.uniform()) continue;
            const double error = noise * random.normal() / std::max(facing, 0.3);
            vPoints.push_back(view.eye + direction * (depth + error));
        }
    }
}

std::vector<Point3> makeScan(double numPoints) {
    constexpr double raysPerPoint = 0.4;  // of one viewpoint; about a third of the rays meet the shape
    Random random;
    std::vector<Point3> vPoints;
    for (const Viewpoint& view : viewpoints()) scanFrom(view, numPoints * raysPerPoint, random, vPoints);
    return vPoints;
}

// A ray from above meets the sphere, one through the ring meets nothing.
int selfCheck() {
    const double onSphere = march(Point3(0.55, 0.0, 5.0), Vector3(0, 0, -1));
    const double throughRing = march(Point3(-0.1, 5.0, 1.0), Vector3(0, -1, 0));
    const bool bGood = std::abs(onSphere - (5.0 - 1.97)) < 1e-4 && throughRing == missed;
    std::cout << "usage: make_scan OUT.ply [POINTS]\nself-check: " << (bGood ? "good" : "failed") << '\n';
    return bGood ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return selfCheck();
    double numPoints = 200000.0;
    if (argc > 2) {
        const std::string_view text = argv[2];
        const auto parsed = std::from_chars(text.data(), text.data() + text.size(), numPoints);
        if (parsed.ec != std::errc() || !(numPoints >= 1.0 && numPoints <= 1e8)) {
            std::cerr << "make_scan: POINTS is a number from 1 to 1e8\n";
            return 2;
        }
    }
    std::vector<Point3> vPoints = makeScan(numPoints);
    return zef::writePointsPly(argv[1], vPoints, false) ? 0 : 1;
}
