// What repair, flips and reduction make of a mesh, by numbers of vertices. Recorded
// while each step agreed with slow models, kept topology and left the vertices alone.

#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <vector>

#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "refine/RMesh.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/meshQueries.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct RMeshDigest : testing::Test {
    RMeshDigest() {
        planProgress("test", {{"RM_kdeg", 1.0},
                              {"RM_cpo", 1.0},
                              {"RM_gEfCandMT", 1.0},
                              {"efLoop", 1.0},
                              {"RM_redborder", 1.0},
                              {"RM_redprioq", 1.0},
                              {"RM_redprocprioq", 1.0}});
        for (const double temperature : RMesh::getAnnealingSchedule())
            getProgress()->createChild(RMesh::getCandidateStage(temperature), 1.0);
    }
    ~RMeshDigest() override { getProgress()->reset(); }
};

// Surfaces with noise and colours, and soups.
Shape shapeOf(std::uint32_t k) {
    if (k >= 5) return randomSoup(k);
    Shape shape = k == 0   ? gridSheet(20, 20)
                  : k == 1 ? torus(40, 16, 5.0, 2.0)
                  : k == 2 ? icosphere(3, 9.0)
                  : k == 3 ? openCylinder(24, 16, 3.0, 10.0)
                           : moebiusStrip(40);
    Rand15 rand(k + 1);
    for (Point3& p : shape.vertices) {
        const double dx = rand.next() / 2e5, dy = rand.next() / 2e5, dz = rand.next() / 4e4;
        p.set(p.px + dx, p.py + dy, p.pz + dz);
        if (k % 2 == 0) p.setColor(p.px > 2.0 ? 255 : 0, int(p.py) % 8 > 1 ? 255 : 0, 100, 255);
    }
    return shape;
}

}  // namespace

TEST_F(RMeshDigest, stepsGiveTheRecordedMeshes) {
    using Step = std::function<void(RMesh&, std::uint32_t)>;
    const std::tuple<const char*, std::uint64_t, Step> vSteps[] = {
        {"duplicates", 0x463b9c7102077ae6u, [](RMesh& mesh, auto) { mesh.killDuplicateTriangles(); }},
        {"degenerate", 0x77c12d7fe17d2911u, [](RMesh& mesh, auto) { mesh.killDegenerate(); }},
        {"patches", 0x9bfe3caa4bfcace2u, [](RMesh& mesh, auto) { mesh.orientPatches(); }},
        {"finish", 0xf81a8aa4ccc5fd4du, [](RMesh& mesh, auto) { mesh.finishMesh(); }},
        {"flips", 0x3b52a0b8603bf14eu, [](RMesh& mesh, auto) { mesh.edgeFlips(); }},
        {"annealing", 0xa1776eba54cd0f60u,
         [](RMesh& mesh, std::uint32_t k) {
             if (k >= 5) mesh.killDuplicateTriangles();
             mesh.edgeFlipsSimA();
         }},
        {"reduction", 0xcc4de6514a330775u, [](RMesh& mesh, std::uint32_t k) {
             const std::size_t before = mesh.getNumLiveTriangles();
             const int numRemoved = mesh.reduce(k % 4 == 0 ? 16.0 : 1e300, k % 3 == 0 ? 180.0 : 20.0);
             EXPECT_EQ(std::size_t(numRemoved), before - mesh.getNumLiveTriangles());
         }}};
    for (const auto& [name, expected, step] : vSteps) {
        std::vector<std::uint64_t> vAll;
        for (std::uint32_t k = 0; k < 16; ++k) {
            const Shape shape = shapeOf(k);
            RMesh mesh(shape.vertices, shape.triples, 1.0);
            printedText([&, &run = step] { run(mesh, k); });
            for (const std::uint32_t number : cornerNumbers(mesh)) vAll.push_back(number);
            for (const int degree : {0, 1, 2, -1}) vAll.push_back(edgesOfDegree(mesh, degree).size());
            vAll.push_back(mesh.getNumTriangles());
        }
        EXPECT_EQ(digest(vAll), expected) << name;
    }
}
