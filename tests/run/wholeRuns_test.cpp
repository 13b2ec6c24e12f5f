// One table over whole runs: what comes out, and that it is the same for any number of threads.

#include <gtest/gtest.h>
#include <zef/zef.h>

#include <bit>
#include <cmath>
#include <functional>
#include <random>
#include <tuple>

#include "support/digest.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Values = std::vector<std::uint64_t>;

// Even samples of the unit sphere with noise, a cap cut off, half of them coloured.
TriangleMesh roughSphere(const Context& context, int numPoints, double noise, int growSteps, double maxZ = 2.0) {
    std::mt19937 random(11);
    std::vector<Point3> vPoints;
    for (int i = 0; i < numPoints; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / numPoints, angle = i * 2.399963229728653;
        double f = 1.0;
        for (int k = 0; k < 4; ++k) f += noise * (static_cast<double>(random()) / 2147483648.0 - 1.0);
        const double r = std::sqrt(1.0 - z * z) * f;
        if (z > maxZ) continue;
        vPoints.emplace_back(r * std::cos(angle), r * std::sin(angle), z * f);
        if (i % 2 == 0) vPoints.back().setColor(std::uint8_t(i), 100, std::uint8_t(i / 256), 255);
    }
    ReconstructOptions options;
    options.factor = 1.2;
    options.growSteps = growSteps;
    options.mend = false;
    return reconstruct(vPoints, options, context).mesh;
}

TriangleMesh rough(const Context& context) {
    return roughSphere(context, 9000, 0.008, 0);
}

TriangleMesh simplified(const Context& context, std::size_t numTriangles, double maxError) {
    TriangleMesh mesh = rough(context);
    ReduceOptions options;
    options.targetTriangles = numTriangles;
    if (maxError > 0.0) options.maxError = maxError;
    simplify(mesh, options, context);
    return mesh;
}

template <class Fn>
TriangleMesh after(TriangleMesh mesh, const Fn& fn) {
    fn(mesh);
    return mesh;
}

}  // namespace

TEST(WholeRuns, giveTheRecordedTrianglesAndTheSameBytesForAnyNumberOfThreads) {
    using Fn = std::function<TriangleMesh(const Context&)>;
    const std::tuple<const char*, std::uint64_t, Fn> vRuns[] = {
        {"clean", 0xf39b5b4223347336u, [](const Context& c) { return roughSphere(c, 12000, 0.0, 5); }},
        {"noisy", 0xd654d6276abe7998u, [](const Context& c) { return roughSphere(c, 12000, 0.01, 0); }},
        {"filled", 0xee8f8700f5892330u, [](const Context& c) { return roughSphere(c, 12000, 0.01, 8, 0.9); }},
        {"bowl", 0x6b3ea624990d978bu, [](const Context& c) { return roughSphere(c, 12000, 0.003, 3, 0.2); }},
        {"melted", 0x9843a4aa32cca539u,
         [](const Context& c) {
             std::vector<Point3> vCorners = soupOf(zef_test::torus(80, 40, 1.0, 0.4));
             const std::vector<Point3> vBox = soupOf(zef_test::box({-0.31, -0.52, -0.73}, {0.9, 0.8, 0.7}));
             vCorners.insert(vCorners.end(), vBox.begin(), vBox.end());
             return melt(vCorners, {.spacing = 0.0501, .mend = false}, c);
         }},
        {"mended", 0x69a9dc7adb8f8302u,
         [](const Context& c) {
             return after(roughSphere(c, 9000, 0.012, 0), [&](TriangleMesh& mesh) { mend(mesh, {}, c); });
         }},
        {"flipped", 0x55654880efbd1990u,
         [](const Context& c) { return after(rough(c), [&](TriangleMesh& mesh) { flipEdges(mesh, c); }); }},
        {"annealed", 0xb155aa7fb3d09c34u,
         [](const Context& c) { return after(rough(c), [&](TriangleMesh& mesh) { anneal(mesh, c); }); }},
        {"reduced", 0x2f576ecedd2c73fbu,
         [](const Context& c) {
             return after(rough(c), [&](TriangleMesh& mesh) { reduceFlat(mesh, {0.2, 20.0}, c); });
         }},
        {"to a number", 0x182641b615e84e7eu, [](const Context& c) { return simplified(c, 800, 0.0); }},
        {"to an error", 0xa0da21d4c159e6dcu, [](const Context& c) { return simplified(c, 0, 0.02); }}};
    for (const auto& [name, expected, run] : vRuns) {
        Values first;
        for (const unsigned numThreads : {1u, 2u, 5u}) {
            Context context;
            context.threads = numThreads;
            const TriangleMesh mesh = run(context);
            Values values(mesh.indices.begin(), mesh.indices.end());
            if (first.empty()) {
                EXPECT_EQ(digest(values), expected) << name;
            }
            for (const Point3& p : mesh.vertices) {
                for (const double x : {p.px, p.py, p.pz}) values.push_back(std::bit_cast<std::uint64_t>(x));
                values.push_back(p.hasColor() ? p.r * 65536u + p.b : 1u);
            }
            if (numThreads == 1) first = values;
            EXPECT_TRUE(values == first) << name << ", " << numThreads << " threads";
        }
    }
}
