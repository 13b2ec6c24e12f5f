#include <gtest/gtest.h>
#include <meshoptimizer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "frame/Rand15.h"
#include "page/PageData.h"
#include "page/Rounding.h"
#include "page/nearness.h"
#include "page/packMesh.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/view.h"

using namespace QUOR_ZEF;
using namespace zef_test;
using nlohmann::json;

namespace {

TriangleMesh meshOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

using Corner = std::array<std::uint32_t, 3>;
using Triangles = std::vector<std::array<Corner, 3>>;

// Each begins with its lowest corner; the order of the others is the side.
Triangles sorted(Triangles triangles) {
    for (auto& t : triangles) std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

Triangles unpacked(const json& mesh, const std::string& bytes) {
    const auto* const pBytes = reinterpret_cast<const unsigned char*>(bytes.data());
    std::vector<PackedPoint> vVertices(mesh["vertices"]["count"].get<std::size_t>());
    std::vector<std::uint32_t> indices(mesh["triangles"]["count"].get<std::size_t>());
    const json &v = mesh["vertices"], &t = mesh["triangles"];
    EXPECT_EQ(meshopt_decodeVertexBuffer(vVertices.data(), vVertices.size(), sizeof(PackedPoint),
                                         pBytes + v["at"].get<std::size_t>(), v["size"]),
              0);
    EXPECT_EQ(meshopt_decodeIndexBuffer(indices.data(), indices.size(), 4, pBytes + t["at"].get<std::size_t>(),
                                        t["size"].get<std::size_t>()),
              0);
    Triangles triangles;
    for (std::size_t i = 0; i < indices.size(); i += 3)
        triangles.push_back(
            {vVertices[indices[i]].steps, vVertices[indices[i + 1]].steps, vVertices[indices[i + 2]].steps});
    return triangles;
}

std::size_t countOf(const std::string& text, const std::string& word) {
    std::size_t num = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++num;
    return num;
}

}  // namespace

TEST(Page, trianglesComeBackWithinHalfAStep) {
    TriangleMesh ball = meshOf(icosphere(4, 500.0));
    for (Point3& p : ball.vertices) p.px += 4e6;
    PageData data;
    const json mesh = json::parse(packMesh(ball, "ball", {}, 1u << 20, data));
    const double step = mesh["step"];
    EXPECT_LT(step, 1000.0 / 65000);
    Triangles expected;
    for (std::size_t i = 0; i < ball.indices.size(); i += 3) {
        auto& triangle = expected.emplace_back();
        for (std::size_t corner = 0; corner < 3; ++corner) {
            const Point3& p = ball.vertices[ball.indices[i + corner]];
            const std::array<double, 3> coords = {p.px, p.py, p.pz};
            for (std::size_t axis = 0; axis < 3; ++axis)
                triangle[corner][axis] =
                    std::uint32_t(std::lround((coords[axis] - mesh["origin"][axis].get<double>()) / step));
        }
    }
    EXPECT_EQ(sorted(unpacked(mesh, data.getBytes())), sorted(expected));
    EXPECT_LT(data.getBytes().size(), 6 * ball.numTriangles());
}

TEST(Page, listsBordersAndPiecesByTheirSize) {
    TriangleMesh mesh = meshOf(openCylinder(20, 5, 1.0, 3.0));
    const Shape ball = icosphere(2);
    for (const std::uint32_t i : ball.triples) mesh.indices.push_back(i + std::uint32_t(mesh.vertices.size()));
    for (const Point3& p : ball.vertices) mesh.vertices.push_back(p + Vector3(9, 0, 0));
    PageData data;
    const json packed = json::parse(packMesh(mesh, "two", {}, 1u << 20, data));
    EXPECT_EQ(packed["pieces"][0]["triangles"], 320);
    EXPECT_EQ(packed["pieces"][0]["box"][3], 10.0);
    EXPECT_EQ(packed["pieces"][1]["triangles"], 160);
    EXPECT_EQ(packed["loops"].size(), 2u);
    EXPECT_EQ(packed["borders"]["count"], 80) << "two ends for each of 40 edges";
}

TEST(Page, distancesAreThoseToASphere) {
    const TriangleMesh ball = meshOf(icosphere(4));
    for (const float distance : distancesTo(ball, icosphere(5, 2.5).vertices)) EXPECT_NEAR(distance, 1.5, 0.003);
}

TEST(Page, verticesFarFromAllPointsAreMarked) {
    Rand15 rand(3);
    const auto place = [&] {
        const double x = rand.next() % 400, y = rand.next() % 300, z = rand.next() % 200;
        return Point3(0.1 * x, 0.1 * y, 0.1 * z);
    };
    TriangleMesh mesh{std::vector<Point3>(3000), {}};
    std::vector<Point3> vPoints(200);
    std::ranges::generate(mesh.vertices, place);
    std::ranges::generate(vPoints, place);
    for (const double reach : {1.0, 2.0, 3.0}) {
        const std::vector<std::uint8_t> vFar = findUnmeasured(mesh, vPoints, reach);
        EXPECT_GT(std::ranges::count(vFar, 1), 0);
        for (std::size_t i = 0; i < vFar.size(); ++i) {
            double nearest = 1e300;
            for (const Point3& p : vPoints) nearest = std::min(nearest, (p - mesh.vertices[i]).length());
            EXPECT_FALSE(vFar[i] && nearest <= reach);
            EXPECT_TRUE(vFar[i] || nearest <= 3.5 * reach);
        }
    }
}

TEST(Page, textOfOthersStaysText) {
    const TriangleMesh ball = meshOf(icosphere(1));
    PageOptions options;
    options.title = options.report.emplace_back("</script><b>", "\"\\").first;
    options.names = {"<!--</script>"};
    const std::string html = makePage({{&ball}, {}}, "run()", options);
    EXPECT_EQ(countOf(html, "</script"), 3u);
    EXPECT_EQ(countOf(html, "<b>") + countOf(html, "<!--"), 0u);
    EXPECT_NE(html.find("<title>&lt;/script&gt;&lt;b&gt;</title>"), std::string::npos);
    EXPECT_THROW(makePage({{&ball}, {}}, "</script>", options), ArgumentError);
    EXPECT_EQ(base64("Man") + base64("Ma") + base64("M"), "TWFuTWE=TQ==");
}

TEST(Page, largeBrokenAndEmptyScenesAreShown) {
    TriangleMesh ball = meshOf(icosphere(4));
    std::vector<Point3> vPoints = icosphere(3, 1.1).vertices;
    ball.vertices[7].px = vPoints[3].pz = std::numeric_limits<double>::quiet_NaN();
    PageOptions options;
    options.maxTriangles = options.maxPoints = 500;
    std::vector<std::string> vLines;
    const Context one{.threads = 1, .message = [&](Severity, std::string_view line) { vLines.emplace_back(line); }};
    const std::string html = makePage({{&ball}, vPoints}, "run()", options, one);
    ASSERT_EQ(vLines.size(), 2u);
    EXPECT_NE(vLines[0].find("5115 triangles are shown as"), std::string::npos) << vLines[0];
    EXPECT_NE(vLines[1].find("of 641 points 500 are shown"), std::string::npos) << vLines[1];
    EXPECT_EQ(html, makePage({{&ball}, vPoints}, "run()", options, {.threads = 4}));
    EXPECT_NE(makePage({}, "run()").find("\"cloud\":null"), std::string::npos);
    const TempFolder folder;
    writePage(folder.name("a.html"), html);
    EXPECT_EQ(folder.get("a.html"), html);
    EXPECT_THROW(writePage(folder.name("none/a.html"), html), FileError);
}
