// Whole runs over the public interface.

#include <gtest/gtest.h>
#include <zef/zef.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>
#include <utility>

#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::printedText;

namespace {

// Even samples of the unit sphere with noise along the normal; only those below
// the given height.
std::vector<Point3> sphere(int numPoints, double noise, double maxZ = 2.0) {
    std::mt19937 random(11);
    std::normal_distribution<double> offset;
    std::vector<Point3> vPoints;
    for (int i = 0; i < numPoints; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / numPoints, angle = i * 2.399963229728653;
        const double r = std::sqrt(1.0 - z * z), f = 1.0 + noise * offset(random);
        if (z <= maxZ) vPoints.emplace_back(r * std::cos(angle) * f, r * std::sin(angle) * f, z * f);
    }
    return vPoints;
}

// Rings of samples at about equal distances.
std::vector<Point3> torus(int numRings) {
    std::vector<Point3> vPoints;
    for (int ring = 0; ring < numRings; ++ring) {
        const double v = 2.0 * M_PI * ring / numRings, distance = 1.0 + 0.4 * std::cos(v);
        const int numAround = static_cast<int>(numRings * distance / 0.4);
        for (int i = 0; i < numAround; ++i) {
            const double u = 2.0 * M_PI * (i + 0.5 * (ring % 2)) / numAround;
            vPoints.emplace_back(distance * std::cos(u), distance * std::sin(u), 0.4 * std::sin(v));
        }
    }
    return vPoints;
}

std::shared_ptr<Mesh> reconstructed(std::vector<Point3> vPoints, double factor, int growSteps = 0) {
    ReconstructOptions options;
    options.factor = factor;
    options.growSteps = growSteps;
    return reconstruct(vPoints, options);
}

// Positions and indices, to compare meshes bit for bit.
std::pair<std::vector<Point3>, std::vector<int>> contentOf(const Mesh& mesh) {
    std::vector<Point3*> vVertices;
    std::pair<std::vector<Point3>, std::vector<int>> content;
    mesh.getVertexIndexData(vVertices, content.second);
    for (const Point3* pVertex : vVertices) content.first.push_back(*pVertex);
    return content;
}

struct Cancelled : std::runtime_error {
    Cancelled() : std::runtime_error("cancelled") {}
};

// Throws at its n-th update.
struct Canceller : ProgressBase {
    int updatesLeft;
    std::string lastName;
    explicit Canceller(int n) : updatesLeft(n) {}
    void update(const std::string& name, double value) override {
        EXPECT_GE(value, 0.0);
        EXPECT_LE(value, 1.0);
        lastName = name;
        if (--updatesLeft == 0) throw Cancelled();
    }
};

}  // namespace

TEST(Reconstruct, shapesComeOutWithTheirGenusAndBorders) {
    for (const bool bTorus : {false, true}) {
        const MeshReport report = checkMesh(*reconstructed(bTorus ? torus(120) : sphere(30000, 0.0), 1.3));
        EXPECT_EQ(report.euler, bTorus ? 0 : 2);
        EXPECT_TRUE(report.bClosed && report.bManifold && report.bOriented);
    }
    const MeshReport bowl = checkMesh(*reconstructed(sphere(30000, 0.0, 0.0), 1.3));
    EXPECT_EQ(bowl.euler, 1);
    EXPECT_GT(bowl.numBorderEdges, 50u);
    EXPECT_LT(bowl.area, 2.0 * M_PI * 1.05);
}

TEST(Reconstruct, verticesLieOnTheSurfaceAndKeepItsColour) {
    std::vector<Point3> vPoints = sphere(20000, 0.002);
    for (Point3& p : vPoints) p.setColor(p.pz > 0 ? 200 : 50, 100, 7, 255);
    ReconstructInfo info;
    ReconstructOptions options;
    options.factor = 1.2;
    options.growSteps = 0;
    const std::vector<Point3> vBefore = vPoints;
    const std::shared_ptr<Mesh> pMesh = reconstruct(vPoints, options, &info);
    EXPECT_EQ(vPoints, vBefore);
    EXPECT_EQ(info.numPoints, vPoints.size());
    EXPECT_DOUBLE_EQ(info.usedSpacing, info.measuredSpacing * 1.2);
    std::vector<Point3*> vVertices;
    pMesh->getPoints(vVertices);
    ASSERT_GT(vVertices.size(), 3000u);
    for (const Point3* pVertex : vVertices) {
        EXPECT_NEAR((*pVertex - Point3()).length(), 1.0, 0.5 * info.usedSpacing);
        ASSERT_TRUE(pVertex->hasColor());
        EXPECT_EQ(pVertex->g, 100);
        if (std::abs(pVertex->pz) <= 5 * info.usedSpacing) continue;
        EXPECT_EQ(pVertex->r, pVertex->pz > 0 ? 200 : 50);
    }
}

// Whatever their distance and place in the grid; a hole in one of them closes all the same.
TEST(Reconstruct, sheetsFaceToFaceAreNotJoinedAtTheirRims) {
    for (const double distance : {2.7, 3.5, 4.0, 8.0}) {
        std::vector<Point3> vPoints;
        for (int i = 0; i < 80; ++i) {
            for (int j = 0; j < 80; ++j) {
                vPoints.emplace_back(0.7 * i, 0.7 * j, 0.0);
                if (std::hypot(i - 40, j - 40) > 7) vPoints.emplace_back(0.7 * i, 0.7 * j, distance);
            }
        }
        ReconstructOptions options;
        options.spacing = 1.0;
        const std::shared_ptr<Mesh> pMesh = reconstruct(vPoints, options);
        const MeshReport report = checkMesh(*pMesh);
        EXPECT_EQ(report.numComponents, 2u) << distance;
        EXPECT_EQ(report.numBorderLoops, 2u) << distance;
        std::vector<Point3*> vVertices;
        pMesh->getPoints(vVertices);
        for (const Point3* p : vVertices) {
            EXPECT_LT(std::min(std::abs(p->pz), std::abs(p->pz - distance)), 1.0);
        }
    }
}

// Across the axes, with open ends: joined as far as growth reaches, and no more.
TEST(Reconstruct, aCrackBetweenTwoSheetsCloses) {
    const Vector3 u(0.8, 0.36, 0.48), v(-0.6, 0.48, 0.64);
    for (const double width : {4.5, 9.0}) {
        std::vector<Point3> vPoints;
        for (int i = 0; i < 60; ++i) {
            for (int j = 0; j < 60; ++j) {
                vPoints.push_back(Point3() + u * (0.7 * i + (i < 30 ? 0.0 : width)) + v * (0.7 * j));
            }
        }
        ReconstructOptions options;
        options.spacing = 1.0;
        const std::shared_ptr<Mesh> pJoined = reconstruct(vPoints, options);
        ManifoldReport mended;
        makeManifold(pJoined, mended);
        const MeshReport joined = checkMesh(*pJoined);
        EXPECT_EQ(joined.numComponents, 1u) << width;
        EXPECT_EQ(joined.numBorderLoops, 1u) << width;
        EXPECT_NEAR(joined.area, (41.3 + width) * 41.3, 80.0) << width;
        options.growSteps = 1;
        EXPECT_EQ(checkMesh(*reconstruct(vPoints, options)).numComponents, 2u) << width;
    }
}

TEST(Reconstruct, aMissingCapClosesIfGapsAreFilledAndStaysOpenElse) {
    const double spacing = 0.0257;
    for (const double noise : {0.0, 0.005}) {
        const std::vector<Point3> vWhole = sphere(40000, noise);
        for (const double radius : {5.0, 10.0}) {
            std::vector<Point3> vPoints;
            for (const Point3& p : vWhole) {
                if ((p - Point3(0, 0.6, 0.8)).length() > radius * spacing) vPoints.push_back(p);
            }
            ReconstructOptions options;
            options.spacing = spacing;
            const MeshReport closed = checkMesh(*reconstruct(vPoints, options));
            EXPECT_EQ(closed.euler, 2) << radius;
            EXPECT_TRUE(closed.bClosed && closed.bManifold) << radius;
            options.growSteps = 0;
            const MeshReport open = checkMesh(*reconstruct(vPoints, options));
            EXPECT_EQ(open.euler, 1) << radius;
            EXPECT_GT(static_cast<double>(open.numBorderEdges), 4 * radius) << radius;
        }
    }
}

TEST(Reconstruct, theEntriesAreOneRoadWithDifferentSpacing) {
    std::vector<Point3> vPoints = sphere(20000, 0.001);
    const double spacing = estimateAvgSpacing(vPoints);
    const auto byFactor = reconstruct_auto(vPoints, false, 2.0, 0);
    const auto bySpacing = reconstruct_abs(vPoints, false, 2.0 * spacing, 0);
    ASSERT_TRUE(byFactor && bySpacing);
    resetProcessState();
    EXPECT_EQ(contentOf(*byFactor), contentOf(*bySpacing));
    EXPECT_EQ(estimateAvgSpacing(vPoints), spacing);
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { reconstruct_abs(vPoints, false, -1.0, 0); }));
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { reconstruct_auto(vPoints, false, 0.0, 0); }));
    // The failure left the plan of its run behind.
    EXPECT_TRUE(reconstruct_abs(vPoints, true, spacing, -1));
}

TEST(Reconstruct, nothingToDoIsAMessageAndNoMesh) {
    std::vector<Point3> vPoints;
    std::shared_ptr<Mesh> pMesh;
    const std::string text = printedText([&] { pMesh = reconstruct_auto(vPoints, false, 1.0, 5); });
    EXPECT_FALSE(pMesh);
    const auto warning = text.find("Nothing to do for cloud inputPointsViaMemory");
    const auto error = text.find("Nothing to do (bad input? wrong resolution?)");
    EXPECT_NE(warning, std::string::npos);
    EXPECT_NE(error, std::string::npos);
    EXPECT_LT(warning, error);
    printedText([&] { EXPECT_EQ(estimateAvgSpacing(vPoints), -1.0); });
    vPoints = sphere(500, 0.0);
    EXPECT_NE(printedText([&] { pMesh = reconstruct_abs(vPoints, false, 100.0, 0); }).find("Nothing to do (bad input?"),
              std::string::npos);
    EXPECT_FALSE(pMesh);
}

TEST(Reconstruct, canBeCancelledAnywhereAndRunAgain) {
    const std::vector<Point3> vPoints = sphere(3000, 0.01);
    const auto expected = contentOf(*reconstructed(vPoints, 1.2));
    int numCancelled = 0;
    for (int n = 1;; n += 1 + n / 4) {
        Canceller canceller(n);
        subscribe(&canceller);
        bool bDone = false;
        try {
            bDone = contentOf(*reconstructed(vPoints, 1.2)) == expected;
        } catch (const Cancelled&) {
            ++numCancelled;
        }
        unsubscribe();
        EXPECT_EQ(canceller.lastName, "Reconstruct");
        if (bDone) break;
        ASSERT_LT(n, 100000);
    }
    EXPECT_GT(numCancelled, 10);
    EXPECT_EQ(contentOf(*reconstructed(vPoints, 1.2)), expected);
}

TEST(Reconstruct, aRefusedLicenceThrowsAndSaysSo) {
    std::vector<Point3> vPoints = sphere(1000, 0.0);
    setLicensePolicy([](const LicenseRequest& request) { return request.gate != "reconstruct"; });
    EXPECT_NE(
        zef_test::failureText<ZefLicenseException>([&] { reconstruct_auto(vPoints, false, 1.0, 0); }).find("\nERROR: "),
        std::string::npos);
    setLicensePolicy(nullptr);
    EXPECT_TRUE(reconstruct_auto(vPoints, false, 1.0, 0));
}
