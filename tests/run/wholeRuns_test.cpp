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
#include "support/threads.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Values = std::vector<std::uint64_t>;
using Result = std::shared_ptr<Mesh>;

// Even samples of the unit sphere with noise, a cap cut off, half of them coloured.
Result sphere(int numPoints, double noise, int growSteps, double maxZ = 2.0) {
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
    return reconstruct(vPoints, options);
}

Result rough() {
    return sphere(9000, 0.008, 0);
}

Result reducedTo(std::size_t numTriangles, double maxError) {
    const Result pMesh = rough();
    ReduceOptions options;
    options.targetTriangles = numTriangles;
    if (maxError > 0.0) options.maxError = maxError;
    reduceTo(pMesh, options);
    return pMesh;
}

Result after(const Result& pMesh, const std::function<void(const Result&)>& fn) {
    fn(pMesh);
    return pMesh;
}

}  // namespace

TEST(WholeRuns, giveTheRecordedTrianglesAndTheSameBytesForAnyNumberOfThreads) {
    const std::tuple<const char*, std::uint64_t, std::function<Result()>> vRuns[] = {
        {"clean", 0xf39b5b4223347336u, [] { return sphere(12000, 0.0, 5); }},
        {"noisy", 0xd654d6276abe7998u, [] { return sphere(12000, 0.01, 0); }},
        {"filled", 0xee8f8700f5892330u, [] { return sphere(12000, 0.01, 8, 0.9); }},
        {"bowl", 0x6b3ea624990d978bu, [] { return sphere(12000, 0.003, 3, 0.2); }},
        {"melted", 0x9843a4aa32cca539u,
         [] {
             std::vector<Point3> vCorners = soupOf(torus(80, 40, 1.0, 0.4));
             const std::vector<Point3> vBox = soupOf(box({-0.31, -0.52, -0.73}, {0.9, 0.8, 0.7}));
             vCorners.insert(vCorners.end(), vBox.begin(), vBox.end());
             return melt(vCorners, 0.0501, 45.0);
         }},
        {"mended", 0x69a9dc7adb8f8302u,
         [] {
             ManifoldReport report;
             return after(sphere(9000, 0.012, 0), [&](const Result& p) { makeManifold(p, report); });
         }},
        {"flipped", 0x55654880efbd1990u, [] { return after(rough(), [](const Result& p) { edgeFlips(p); }); }},
        {"annealed", 0xb155aa7fb3d09c34u, [] { return after(rough(), [](const Result& p) { edgeFlipsSimA(p); }); }},
        {"reduced", 0x16632abff8ba41e0u, [] { return after(rough(), [](const Result& p) { reduce(p, 0.2, 20.0); }); }},
        {"to a number", 0x182641b615e84e7eu, [] { return reducedTo(800, 0.0); }},
        {"to an error", 0xa0da21d4c159e6dcu, [] { return reducedTo(0, 0.02); }}};
    for (const auto& [name, expected, run] : vRuns) {
        Values first;
        for (const unsigned numThreads : {1u, 2u, 5u}) {
            const ThreadCount threads(numThreads);
            const Result pMesh = run();
            std::vector<Point3*> vVertices;
            std::vector<int> vIndices;
            pMesh->getVertexIndexData(vVertices, vIndices);
            Values values(vIndices.begin(), vIndices.end());
            if (first.empty()) {
                EXPECT_EQ(digest(values), expected) << name;
            }
            for (const Point3* p : vVertices) {
                for (const double x : {p->px, p->py, p->pz}) values.push_back(std::bit_cast<std::uint64_t>(x));
                values.push_back(p->hasColor() ? p->r * 65536u + p->b : 1u);
            }
            if (numThreads == 1) first = values;
            EXPECT_TRUE(values == first) << name << ", " << numThreads << " threads";
        }
    }
}
