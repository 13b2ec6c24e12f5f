// Whole runs over the public interface.

#include <gtest/gtest.h>
#include <zef/zef.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
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

TriangleMesh reconstructed(const std::vector<Point3>& vPoints, double factor) {
    ReconstructOptions options;
    options.factor = factor;
    options.growSteps = 0;
    options.mend = false;
    return reconstruct(vPoints, options).mesh;
}

// Positions and indices, to compare meshes bit for bit.
std::pair<std::vector<Point3>, std::vector<int>> contentOf(const Mesh& mesh) {
    std::vector<Point3*> vVertices;
    std::pair<std::vector<Point3>, std::vector<int>> content;
    mesh.getVertexIndexData(vVertices, content.second);
    for (const Point3* pVertex : vVertices) content.first.push_back(*pVertex);
    return content;
}

}  // namespace

TEST(Reconstruct, shapesComeOutWithTheirGenusAndBorders) {
    for (const bool bTorus : {false, true}) {
        const MeshReport report = check(reconstructed(bTorus ? torus(120) : sphere(30000, 0.0), 1.3));
        EXPECT_EQ(report.euler, bTorus ? 0 : 2);
        EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    }
    const MeshReport bowl = check(reconstructed(sphere(30000, 0.0, 0.0), 1.3));
    EXPECT_EQ(bowl.euler, 1);
    EXPECT_GT(bowl.numBorderEdges, 50u);
    EXPECT_LT(bowl.area, 2.0 * M_PI * 1.05);
}

TEST(Reconstruct, verticesLieOnTheSurfaceAndKeepItsColour) {
    std::vector<Point3> vPoints = sphere(20000, 0.002);
    for (Point3& p : vPoints) p.setColor(p.pz > 0 ? 200 : 50, 100, 7, 255);
    ReconstructOptions options;
    options.factor = 1.2;
    options.growSteps = 0;
    const std::vector<Point3> vBefore = vPoints;
    const Reconstruction made = reconstruct(vPoints, options);
    EXPECT_EQ(vPoints, vBefore);
    EXPECT_EQ(made.numPoints, vPoints.size());
    EXPECT_DOUBLE_EQ(made.spacing, made.measuredSpacing * 1.2);
    ASSERT_GT(made.mesh.vertices.size(), 3000u);
    for (const Point3& vertex : made.mesh.vertices) {
        EXPECT_NEAR((vertex - Point3()).length(), 1.0, 0.5 * made.spacing);
        ASSERT_TRUE(vertex.hasColor());
        EXPECT_EQ(vertex.g, 100);
        if (std::abs(vertex.pz) <= 5 * made.spacing) continue;
        EXPECT_EQ(vertex.r, vertex.pz > 0 ? 200 : 50);
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
        options.mend = false;
        const TriangleMesh mesh = reconstruct(vPoints, options).mesh;
        const MeshReport report = check(mesh);
        EXPECT_EQ(report.numComponents, 2u) << distance;
        EXPECT_EQ(report.numBorderLoops, 2u) << distance;
        for (const Point3& p : mesh.vertices) EXPECT_LT(std::min(std::abs(p.pz), std::abs(p.pz - distance)), 1.0);
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
        const MeshReport joined = check(reconstruct(vPoints, options).mesh);
        EXPECT_EQ(joined.numComponents, 1u) << width;
        EXPECT_EQ(joined.numBorderLoops, 1u) << width;
        EXPECT_NEAR(joined.area, (41.3 + width) * 41.3, 80.0) << width;
        options.growSteps = 1;
        options.mend = false;
        EXPECT_EQ(check(reconstruct(vPoints, options).mesh).numComponents, 2u) << width;
    }
}

// Points that belong to no surface change nothing, unless they are asked for.
TEST(Reconstruct, straysAndDustAreLeftOut) {
    const std::vector<Point3> vClean = sphere(20000, 0.0);
    const Reconstruction clean = reconstruct(vClean);
    for (const double distance : {1.5, 1e5, 1e6}) {
        std::vector<Point3> vPoints = vClean;
        vPoints.insert(vPoints.begin(), Point3(distance, 0.0, 0.1));
        vPoints.emplace_back(0.0, 0.1, -distance);
        std::string told;
        const Reconstruction made =
            reconstruct(vPoints, {}, {.message = [&](Severity, std::string_view text) { told += text; }});
        EXPECT_EQ(made.numStrays, distance > 2.0 ? 2u : 0u);
        EXPECT_EQ(made.numOutliers, distance > 2.0 ? 0u : 2u);
        EXPECT_EQ(told.find("2 stray points") != std::string::npos, distance > 2.0);
        EXPECT_EQ(made.numPoints, vPoints.size());
        EXPECT_EQ(made.mesh.vertices, clean.mesh.vertices);
        EXPECT_EQ(made.mesh.indices, clean.mesh.indices);
        EXPECT_TRUE(made.low == clean.low && made.high == clean.high);
        EXPECT_EQ(measureSpacing(vPoints), clean.measuredSpacing);
        const PointStatistics found = measurePoints(vPoints);
        EXPECT_EQ(found.numStrays + found.numOutliers, 2u);
        EXPECT_EQ(found.spacing, clean.measuredSpacing);
        EXPECT_EQ(found.numFinite, vPoints.size());
        const ReconstructOptions all{.spacing = clean.spacing, .keepOutliers = true};
        if (distance < 2.0) {
            EXPECT_EQ(reconstruct(vPoints, all).numOutliers, 0u);
        } else {
            EXPECT_THROW(reconstruct(vPoints, all), ArgumentError);
        }
    }
}

TEST(Reconstruct, lengthsThatCannotBeAreRefusedWithACure) {
    for (const double scale : {1e80, 1e200, 1e-100, 1e-300, 1.0}) {
        std::vector<Point3> vPoints = sphere(2000, 0.0);
        for (Point3& p : vPoints) p.set(p.px * scale, p.py * scale, p.pz * scale);
        try {
            reconstruct(vPoints, {.spacing = scale == 1.0 ? 1e-9 : 0.0});
            ADD_FAILURE() << scale;
        } catch (const ArgumentError& error) {
            EXPECT_EQ(std::string(error.what()).find("Condition"), std::string::npos) << error.what();
        }
    }
}

// A ball of a few cells beside a sphere, dense enough to be a surface of its own.
TEST(Reconstruct, specksAreRemoved) {
    std::vector<Point3> vPoints = sphere(20000, 0.0);
    for (const Point3& p : sphere(40, 0.0)) vPoints.emplace_back(2.0 + 0.03 * p.px, 0.03 * p.py, 0.03 * p.pz);
    const Reconstruction made = reconstruct(vPoints), all = reconstruct(vPoints, {.minPiece = 0});
    EXPECT_EQ(check(made.mesh).numComponents, 1u);
    EXPECT_GT(check(all.mesh).numComponents, 1u);
    EXPECT_EQ(made.numRemovedPieces + 1, check(all.mesh).numComponents);
    EXPECT_EQ(made.mesh.numTriangles() + made.numRemovedTriangles, all.mesh.numTriangles());
}

TEST(Reconstruct, pointsTellTheirNoiseAndWhatPrecisionTheyNeed) {
    std::vector<Point3> vPoints;
    std::mt19937 random(3);
    std::normal_distribution<double> height(0.0, 0.4);
    for (int i = 0; i < 22'500; ++i) vPoints.emplace_back(i % 150, i / 150, height(random));
    const PointStatistics found = measurePoints(vPoints);
    EXPECT_NEAR(found.noise * found.spacing, 0.4, 0.03);
    EXPECT_GT(found.localSpacing[1], 1.1);
    EXPECT_LT(found.localSpacing[2], 2.2);
    EXPECT_LT(found.unsupportedShare, 0.02);
    EXPECT_FALSE(found.needsDoubles);
    for (Point3& p : vPoints) p.px += 1e6;
    EXPECT_TRUE(measurePoints(vPoints).needsDoubles);
}

// Two scans that disagree by up to a cell are one layer; smoothing makes it even.
TEST(Reconstruct, doubleLayersBecomeOne) {
    for (const bool bTorus : {false, true}) {
        const std::vector<Point3> vOnce = bTorus ? torus(100) : sphere(20000, 0.0);
        const double spacing = measureSpacing(vOnce);
        for (const double shift : {0.5, 1.0}) {
            std::vector<Point3> vPoints = vOnce;
            for (const Point3& p : vOnce) {
                const double far = std::hypot(p.px, p.py), tube = bTorus ? 1.0 / far : 0.0;
                const Vector3 out = normalize(Vector3(p.px - p.px * tube, p.py - p.py * tube, p.pz));
                // Turned a little, so that the points do not stand above each other.
                const Point3 q = p + out * (shift * spacing);
                vPoints.emplace_back(q.px * 0.8 - q.py * 0.6, q.px * 0.6 + q.py * 0.8, q.pz);
            }
            const double half = 0.5 * shift * spacing;
            const double area = 4.0 * M_PI * (bTorus ? M_PI * (0.4 + half) : (1.0 + half) * (1.0 + half));
            for (const bool bSmooth : {false, true}) {
                const MeshReport report = check(reconstruct(vPoints, {.smooth = bSmooth}).mesh);
                EXPECT_TRUE(report.closed && report.manifold && report.numComponents == 1) << bTorus << shift;
                EXPECT_EQ(report.euler, bTorus ? 0 : 2) << shift;
                EXPECT_NEAR(report.area / area, 1.0, bSmooth ? 0.05 : 0.3) << bTorus << shift;
            }
        }
    }
}

TEST(Reconstruct, theOrderOfThePointsHasNoSay) {
    // In steps of z, some points twice in two colours, with a normal each; more than are looked at for noise and fit.
    std::vector<Point3> vPoints = sphere(24000, 0.004, 0.6);
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        vPoints[i].set(vPoints[i].px, vPoints[i].py, std::round(vPoints[i].pz * 0x1p5) * 0x1p-5);
        vPoints[i].setColor(static_cast<std::uint8_t>(i % 251), 10, 100, 255);
    }
    for (std::size_t i = 0; i < 3000; ++i) {
        vPoints.push_back(vPoints[7 * i]);
        vPoints.back().r ^= 129;
    }
    vPoints.emplace_back(900.0, 800.0, 900.0);
    const auto run = [&](const std::vector<Point3>& vOrdered) {
        std::vector<Vector3> vNormals;
        for (const Point3& p : vOrdered) vNormals.emplace_back(p.px, p.py, p.pz * 0.9);
        return reconstruct(vOrdered, {.measureCoverage = true, .normals = vNormals});
    };
    const Reconstruction first = run(vPoints);
    std::shuffle(vPoints.begin(), vPoints.end(), std::mt19937(3));
    const Reconstruction other = run(vPoints);
    EXPECT_GT(first.refit.numMovedVertices, 1000u);
    EXPECT_EQ(first.numStrays, 1u);
    EXPECT_EQ(std::memcmp(&first.refit, &other.refit, sizeof(RefitReport)), 0);
    EXPECT_EQ(first.coverage, other.coverage);
    EXPECT_EQ(first.noise, other.noise);
    EXPECT_EQ(first.mesh.indices, other.mesh.indices);
    ASSERT_EQ(first.mesh.vertices, other.mesh.vertices);
    for (std::size_t i = 0; i < first.mesh.vertices.size(); ++i)
        ASSERT_EQ(first.mesh.vertices[i].getColorString(), other.mesh.vertices[i].getColorString());
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

TEST(Reconstruct, aRefusedLicenceThrowsAndSaysSo) {
    std::vector<Point3> vPoints = sphere(1000, 0.0);
    setLicensePolicy([](const LicenseRequest& request) { return request.gate != "reconstruct"; });
    EXPECT_NE(
        zef_test::failureText<ZefLicenseException>([&] { reconstruct_auto(vPoints, false, 1.0, 0); }).find("\nERROR: "),
        std::string::npos);
    setLicensePolicy(nullptr);
    EXPECT_TRUE(reconstruct_auto(vPoints, false, 1.0, 0));
}
