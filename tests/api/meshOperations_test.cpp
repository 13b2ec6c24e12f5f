#include "zef/meshOperations.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "frame/Progress.h"
#include "refine/RMesh.h"
#include "support/capture.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/License.h"
#include "zef/Mesh.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

std::shared_ptr<Mesh> exportedMesh(const Shape& shape) {
    return std::make_shared<Mesh>(new RMesh(shape.vertices, shape.triples, 0.3));
}

}  // namespace

TEST(meshOperations, reduceTakesTheLengthUnsquared) {
    EXPECT_EQ(reduce(exportedMesh(gridSheet(9, 9, 3.0)), 2.9, 1.0), 0);
    EXPECT_GT(reduce(exportedMesh(gridSheet(9, 9, 3.0)), 3.1, 1.0), 0);
}

TEST(meshOperations, allButFindHolesAskTheGate) {
    const std::shared_ptr<Mesh> pMesh = exportedMesh(gridSheet(5, 4));
    std::vector<std::string> vGates;
    setLicensePolicy([&](const LicenseRequest& request) {
        vGates.push_back(request.gate);
        EXPECT_EQ(request.numPoints, 20u);
        return false;
    });
    failureText<ZefLicenseException>([&] { edgeFlips(pMesh); });
    failureText<ZefLicenseException>([&] { edgeFlipsSimA(pMesh); });
    failureText<ZefLicenseException>([&] { reduce(pMesh, 1.0, 1.0); });
    failureText<ZefLicenseException>([&] { laplacianSmoothing(pMesh, 1); });
    const TempFolder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path);
    findHoles(pMesh);
    std::filesystem::current_path(before);
    setLicensePolicy({});
    EXPECT_EQ(vGates, (std::vector<std::string>{"edgeFlips", "edgeFlipsSimA", "reduce", "laplacianSmoothing"}));
    EXPECT_NE(folder.get("holes.list").find("14 28 1"), std::string::npos);
    EXPECT_EQ(getProgress()->name, "empty");
}
