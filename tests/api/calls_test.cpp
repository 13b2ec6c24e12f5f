// What all calls with a Context have in common.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <thread>

#include "support/capture.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/zef.h"

using namespace QUOR_ZEF;
using zef_test::printedText;

namespace {

constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

using Change = std::function<void(TriangleMesh&, const Context&)>;
struct MeshCall {
    const char* name;
    bool bChanges;  // and wants finite positions
    Change call;
};

const std::string missing = "/missing/a.ply";

const std::vector<MeshCall> meshCalls{
    {"simplify", true, [](TriangleMesh& m, const Context& c) { simplify(m, {.targetTriangles = 100}, c); }},
    {"reduceFlat", true, [](TriangleMesh& m, const Context& c) { reduceFlat(m, {}, c); }},
    {"flipEdges", true, [](TriangleMesh& m, const Context& c) { flipEdges(m, c); }},
    {"anneal", true, [](TriangleMesh& m, const Context& c) { anneal(m, c); }},
    {"smooth", true, [](TriangleMesh& m, const Context& c) { smooth(m, {}, c); }},
    {"fillColors", true, [](TriangleMesh& m, const Context& c) { fillColors(m, c); }},
    {"stretchContrast", true, [](TriangleMesh& m, const Context& c) { stretchContrast(m, 0.0, 0.0, c); }},
    {"mend", true, [](TriangleMesh& m, const Context& c) { mend(m, {}, c); }},
    {"check", false, [](TriangleMesh& m, const Context& c) { check(m, c); }},
    {"intersections", false, [](TriangleMesh& m, const Context& c) { countSelfIntersections(m, c); }},
    {"handles", true, [](TriangleMesh& m, const Context& c) { findHandles(m, 0.0, c); }},
    {"thinPlaces", true, [](TriangleMesh& m, const Context& c) { findThinPlaces(m, 0.0, c); }},
    {"borderEdges", false, [](TriangleMesh& m, const Context& c) { borderEdges(m, c); }},
    {"averageEdgeLength", false, [](TriangleMesh& m, const Context& c) { averageEdgeLength(m, c); }},
    {"melt", false, [](TriangleMesh& m, const Context& c) { melt(m, {.spacing = 0.3}, c); }},
    {"resample", false, [](TriangleMesh& m, const Context& c) { resample(m, {.spacing = 0.3}, c); }},
    {"write", false, [](TriangleMesh& m, const Context& c) { write(missing, m, {}, c); }},
};

TriangleMesh meshOf(const zef_test::Shape& shape) {
    return {shape.vertices, shape.triples};
}

TriangleMesh ring() {
    return meshOf(zef_test::torus(30, 20, 3.0, 1.0));
}

// As if it was read, with another first index.
PointFile fileOf(TriangleMesh mesh, std::uint32_t index) {
    PointFile file;
    file.kind = PointFile::Kind::MESH;
    file.points = std::move(mesh.vertices);
    file.indices = std::move(mesh.indices);
    file.indices[0] = index;
    return file;
}

// Points close enough for a surface.
std::vector<Point3> ball(double radius = 1.0) {
    return zef_test::icosphere(4, radius).vertices;
}

std::vector<std::array<double, 7>> valuesOf(const std::vector<Point3>& points) {
    std::vector<std::array<double, 7>> values;
    for (const Point3& p : points)
        values.push_back({p.px, p.py, p.pz, p.bHasColor ? 1.0 : 0.0, double(p.r), double(p.g), double(p.b)});
    return values;
}

bool areSame(const TriangleMesh& a, const TriangleMesh& b) {
    return a.indices == b.indices && valuesOf(a.vertices) == valuesOf(b.vertices);
}

// The text of the exception that fn throws.
template <class Exception>
std::string textOf(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const Exception& error) {
        return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

}  // namespace

TEST(Calls, nameTheArgumentThatMeansNothing) {
    const std::span<const Point3> null(static_cast<const Point3*>(nullptr), 3);
    const std::vector<Point3> points = ball(), corners = zef_test::soupOf(zef_test::icosphere(1));
    PointView view{&points[0].px, points.size(), 2};
    TriangleMesh mesh = ring();
    const TriangleMesh fan{{{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {0, 1, 2, 0, 1, 3, 0, 1, 4}};
    const std::vector<std::pair<std::string, std::function<void()>>> calls{
        {"points", [&] { reconstruct(null); }},
        {"points", [&] { measureSpacing(null); }},
        {"points", [&] { measurePoints(null); }},
        {"points", [&] { write(missing, null); }},
        {"corners", [&] { melt(null, {}); }},
        {"corners", [&] { resample(null, {}); }},
        {"corners", [&] { melt(std::span(corners).first(4), {}); }},
        {"ends", [&] { writeSegments(missing, null); }},
        {"ends", [&] { writeSegments(missing, std::span(corners).first(3)); }},
        {"points.xyz",
         [&] {
             reconstruct(PointView{nullptr, 3});
         }},
        {"points.stride", [&] { measureSpacing(view); }},
        {"points.colorStride",
         [&] {
             reconstruct(PointView{&points[0].px, 3, 4, &points[0].r, 3});
         }},
        {"spacing", [&] { reconstruct(points, {.spacing = -1.0}); }},
        {"spacing", [&] { reconstruct(points, {.spacing = noNumber}); }},
        {"factor", [&] { reconstruct(points, {.factor = noNumber}); }},
        {"factor", [&] { reconstruct(points, {.factor = 0.0}); }},
        {"minHandle", [&] { reconstruct(points, {.minHandle = -1.0}); }},
        {"thicken", [&] { reconstruct(points, {.thicken = 1.0}); }},
        {"longest", [&] { findHandles(mesh, noNumber); }},
        {"thickness", [&] { findThinPlaces(mesh, -1.0); }},
        {"spacing", [&] { melt(corners, {.spacing = noNumber}); }},
        {"featureAngle", [&] { resample(corners, {.featureAngle = 400.0}); }},
        {"targetTriangles", [&] { simplify(mesh, {}); }},
        {"maxError", [&] { simplify(mesh, {.targetTriangles = 9, .maxError = noNumber}); }},
        {"maxColorStep", [&] { simplify(mesh, {.targetTriangles = 9, .maxColorStep = noNumber}); }},
        {"maxEdgeLength", [&] { reduceFlat(mesh, {.maxEdgeLength = -1.0}); }},
        {"maxDeviationDeg", [&] { reduceFlat(mesh, {.maxDeviationDeg = noNumber}); }},
        {"steps", [&] { smooth(mesh, {.steps = -1}); }},
        {"lambda", [&] { smooth(mesh, {.lambda = noNumber}); }},
        {"mu", [&] { smooth(mesh, {.keepVolume = true, .mu = noNumber}); }},
        {"lowFraction", [&] { stretchContrast(mesh, noNumber, 0.0); }},
        {"highFraction", [&] { stretchContrast(mesh, 0.0, 2.0); }},
        {"closed", [&] { reconstruct(points, {.mend = false, .closed = true}); }},
        {"box",
         [&] {
             readPoints({missing}, {.box = std::array<Point3, 2>{Point3(1, 0, 0), Point3(0, 1, 1)}});
         }},
        {"index 600", [&] { toMesh(fileOf(ring(), 600)); }},
        {"handles", [&] { findHandles(fan, 0.0); }},
        {"scene.meshes", [&] { draw({.meshes = {nullptr}, .points = {}}); }},
        {"bundle", [&] { makePage({}, ""); }},
        {"bundle", [&] { makePage({}, "a</script>"); }},
        {"maxTriangles", [&] { makePage({}, "a", {.maxPoints = 0}); }},
        {"image",
         [&] {
             writePng(missing, {2, 2, std::vector<std::uint8_t>(15)});
         }},
        {"pMesh", [&] { edgeFlips(nullptr); }},
        {"pMesh", [&] { edgeFlipsSimA(nullptr); }},
        {"pMesh", [&] { QUOR_ZEF::reduce(nullptr, 1.0, 1.0); }},
        {"pMesh", [&] { laplacianSmoothing(nullptr, 1); }},
        {"pMesh", [&] { findHoles(nullptr); }},
        {"pMesh", [&] { writeMesh_auto(missing, nullptr, true); }},
    };
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_NE(textOf<ArgumentError>(calls[i].second).find(calls[i].first), std::string::npos) << "call " << i;
    EXPECT_TRUE(areSame(mesh, ring()));
}

TEST(Calls, refuseMeshesThatMeanNothingAndLeaveThemAlone) {
    for (const MeshCall& call : meshCalls) {
        TriangleMesh cut = ring(), outside = ring(), repeating = ring(), empty, placeless = ring();
        cut.indices.pop_back();
        outside.indices[4] = 600;
        repeating.indices[4] = repeating.indices[3];
        placeless.vertices[placeless.indices[7]].py = noNumber;
        for (TriangleMesh* const pMesh : {&cut, &outside, &repeating}) {
            const TriangleMesh before = *pMesh;
            const std::string text = textOf<ArgumentError>([&] { call.call(*pMesh, {}); });
            EXPECT_NE(text.find(".indices: "), std::string::npos) << call.name << ": " << text;
            EXPECT_TRUE(areSame(*pMesh, before)) << call.name;
        }
        if (!call.bChanges) continue;
        const std::string text = textOf<ArgumentError>([&] { call.call(placeless, {}); });
        EXPECT_NE(text.find("mesh.vertices: "), std::string::npos) << call.name << ": " << text;
        call.call(empty, {});
        EXPECT_EQ(empty.numTriangles(), 0u) << call.name;
    }
}

TEST(Calls, sayThatNothingCanComeOut) {
    const std::vector<Point3> none, placeless(9, Point3(noNumber, 0.0, 0.0)), flat(9, Point3(1.0, 2.0, 3.0));
    for (const auto& points : {none, placeless}) {
        textOf<NoSurfaceError>([&] { reconstruct(points); });
        textOf<NoSurfaceError>([&] { measureSpacing(points); });
        for (const double spacing : {0.0, 0.1}) {
            textOf<NoSurfaceError>([&] { melt(points, {.spacing = spacing}); });
            textOf<NoSurfaceError>([&] { resample(points, {.spacing = spacing}); });
        }
    }
    textOf<ArgumentError>([&] { measureSpacing(flat); });
    EXPECT_FALSE(measurePoints(flat).fault.empty());
    EXPECT_EQ(measurePoints(flat).numDuplicates, 8u);
    EXPECT_EQ(textOf<FileError>([] { readMesh(missing); }).rfind(missing + ": ", 0), 0u);
    EXPECT_EQ(textOf<FileError>([] { write(missing, ring()); }).rfind(missing + ": ", 0), 0u);
}

TEST(Calls, takePointsOfAnyLayout) {
    std::vector<Point3> points = ball();
    std::vector<double> coords;
    std::vector<std::uint8_t> colors;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto shade = static_cast<std::uint8_t>(i % 200);
        points[i].setColor(shade, 10, 20, 255);
        coords.insert(coords.end(), {points[i].px, points[i].py, points[i].pz, noNumber, noNumber});
        colors.insert(colors.end(), {shade, 10, 20, 255, 99});
    }
    const PointView view{coords.data(), points.size(), 5, colors.data(), 5};
    const Reconstruction made = reconstruct(points);
    EXPECT_TRUE(areSame(reconstruct(view).mesh, made.mesh));
    EXPECT_TRUE(made.mesh.hasColor());
    EXPECT_EQ(measureSpacing(view), made.measuredSpacing);
    EXPECT_EQ(measurePoints(view).localSpacing, measurePoints(points).localSpacing);
    EXPECT_EQ(measurePoints(view).high, measurePoints(points).high);
    TriangleMesh fitted = made.mesh, byView = made.mesh;
    refit(fitted, points, {.radius = 2.0});
    refit(byView, view, {.radius = 2.0});
    EXPECT_TRUE(areSame(byView, fitted));
    EXPECT_FALSE(areSame(fitted, made.mesh));
    PointView corners = view;
    corners.count -= corners.count % 3;
    const std::span<const Point3> sameCorners = std::span(points).first(corners.count);
    EXPECT_TRUE(areSame(melt(corners, {.spacing = 0.3}), melt(sameCorners, {.spacing = 0.3})));
    EXPECT_EQ(valuesOf(resample(corners, {.spacing = 0.3})), valuesOf(resample(sameCorners, {.spacing = 0.3})));
}

TEST(Calls, doNotFeelEachOther) {
    constexpr std::size_t num = 4;
    std::vector<std::vector<Point3>> vClouds;
    std::vector<Reconstruction> alone(num), made(num);
    for (const double radius : {1.0, 1000.0, 0.03, 40.0}) vClouds.push_back(ball(radius));
    for (std::size_t i = 0; i < num; ++i) alone[i] = reconstruct(vClouds[i]);
    resetProcessState();
    std::vector<std::thread> vThreads;
    for (std::size_t i = 0; i < num; ++i) {
        vThreads.emplace_back([&, i] {
            reconstruct(vClouds[(i + 1) % num], {.factor = 2.0}, {.threads = 1});
            made[i] = reconstruct(vClouds[i], {}, {.threads = static_cast<unsigned>(i)});
        });
    }
    for (std::thread& thread : vThreads) thread.join();
    for (std::size_t i = 0; i < num; ++i) EXPECT_TRUE(areSame(made[i].mesh, alone[i].mesh)) << i;
}

TEST(Calls, areSilentUnlessTheyArePrescribed) {
    std::vector<Point3> points = ball();
    points.emplace_back(noNumber, 0.0, 0.0);
    std::vector<std::string> vWarnings;
    Context context;
    context.message = [&](Severity severity, std::string_view text) {
        if (severity == Severity::WARNING) vWarnings.emplace_back(text);
    };
    EXPECT_EQ(printedText([&] { reconstruct(points, {}, context); }), "");
    EXPECT_EQ(printedText([&] { reconstruct(points); }), "");
    ASSERT_EQ(vWarnings.size(), 1u);
    EXPECT_NE(printedText([&] { reconstruct_auto(points, false, 1.3, 20); }).find(vWarnings[0]), std::string::npos);
}

TEST(Calls, reportRisingSharesAndCanBeCancelled) {
    for (const MeshCall& call : meshCalls) {
        if (!call.bChanges) continue;
        TriangleMesh mesh = ring();
        double share = 0.0;
        std::size_t numSteps = 0;
        Context context;
        context.progress = [&](const ProgressStep& step) {
            EXPECT_GE(step.share, share) << call.name;
            share = step.share;
            ++numSteps;
            return true;
        };
        call.call(mesh, context);
        EXPECT_EQ(numSteps > 0 ? share : 1.0, 1.0) << call.name;
        if (numSteps == 0) continue;  // over at once
        context.progress = [](const ProgressStep&) { return false; };
        mesh = ring();
        textOf<CancelledError>([&] { call.call(mesh, context); });
        EXPECT_TRUE(areSame(mesh, ring())) << call.name;
        context.progress = [](const ProgressStep&) -> bool { throw 7; };
        EXPECT_THROW(call.call(mesh, context), int) << call.name;
    }
    textOf<CancelledError>(
        [] { reconstruct(ball(), {}, {.progress = [](const ProgressStep& step) { return step.share < 0.5; }}); });
}

TEST(Calls, nameTheGateThatRefuses) {
    setLicensePolicy([](const LicenseRequest& request) { return request.gate != "reduceTo"; });
    TriangleMesh mesh = ring();
    const std::string text = textOf<LicenseError>([&] { simplify(mesh, {.targetTriangles = 9}); });
    EXPECT_NE(text.find("reduceTo"), std::string::npos) << text;
    flipEdges(mesh);
    setLicensePolicy({});
}

TEST(Mesh, comesFromArraysAndGoesBackToThem) {
    EXPECT_TRUE(areSame(Mesh::fromTriangles(ring())->toTriangles(), ring()));
    TriangleMesh outside = ring(), cut = ring();
    outside.indices.back() = 600;
    cut.indices.pop_back();
    for (const TriangleMesh& mesh : {outside, cut}) textOf<ArgumentError>([&] { Mesh::fromTriangles(mesh); });
}
