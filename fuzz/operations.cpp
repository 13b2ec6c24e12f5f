#include "fuzz/operations.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <type_traits>

#include "zef/compare.h"
#include "zef/files.h"
#include "zef/reconstruction.h"
#include "zef/view.h"

using namespace QUOR_ZEF;

namespace zef_fuzz {

// A hash of numbers in their order.
class Result {
public:
    template <class... T>
    void add(const T&... values) {
        (addOne(values), ...);
    }
    Digest get() const { return hash; }

private:
    void addWord(std::uint64_t word) {
        hash = (hash ^ word) * 0x9e3779b97f4a7c15u;
        hash ^= hash >> 29;
    }
    // All that is no number is one: its sign and bits are the processor's.
    void addOne(double x) { addWord(std::isnan(x) ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(x)); }
    template <class T>
    requires std::is_integral_v<T> || std::is_enum_v<T>
    void addOne(T x) { addWord(static_cast<std::uint64_t>(x)); }
    void addOne(const Point3& p) {
        add(p.px, p.py, p.pz);
        if (p.bHasColor) add(p.r, p.g, p.b, p.a);
    }
    void addOne(const Vector3& v) { add(v.vx, v.vy, v.vz); }
    void addOne(const TriangleMesh& mesh) { add(mesh.vertices, mesh.indices); }
    void addOne(const UntangleReport& report) { add(report.numPairs, report.numPairsLeft); }
    void addOne(const RefitReport& r) {
        add(r.noise, r.radius, r.numMovedVertices, r.numCreaseVertices, r.meanMove, r.maxMove);
    }
    void addOne(const MeshHandle& handle) { add(handle.length, handle.place); }
    void addOne(const ThinPlace& wall) { add(wall.thickness, wall.place, wall.numTriangles); }
    void addOne(const MeshComponent& c) { add(c.numTriangles, c.numBorderLoops, c.euler, c.genus, c.area, c.volume); }
    void addOne(const MeshBorderLoop& loop) { add(loop.numEdges, loop.length, loop.low, loop.high); }
    void addOne(const Deviation& d) {
        add(d.numSamples, d.mean, d.rms, d.max, d.percentiles, d.histogram, d.meanAngle, d.turnedShare);
    }
    template <class T>
    requires requires(const T& range) { range.begin(); }
    void addOne(const T& range) {
        addWord(static_cast<std::uint64_t>(std::ranges::size(range)));
        for (const auto& element : range) addOne(element);
    }

    std::uint64_t hash = 0xcbf29ce484222325;
};

namespace {

void hold(bool bHolds, const char* what) {
    if (!bHolds) throw Broken(what);
}

double longestSide(const TriangleMesh& mesh) {
    Point3 low, high;
    bool bFirst = true;
    for (const Point3& p : mesh.vertices) {
        if (!std::isfinite(p.px + p.py + p.pz)) continue;
        if (bFirst) low = high = p;
        bFirst = false;
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
    return std::max({high.px - low.px, high.py - low.py, high.pz - low.pz});
}

std::vector<Point3> cornersOf(const TriangleMesh& mesh) {
    std::vector<Point3> vCorners;
    for (const std::uint32_t i : mesh.indices) vCorners.push_back(mesh.vertices[i]);
    return vCorners;
}

// ---- from points

ReconstructOptions drawOptions(const Call& c) {
    Draw& draw = c.draw;
    ReconstructOptions options;
    if (draw.below(3) == 0) options.spacing = draw.odd(c.scene.extent * draw.between(0.03, 0.2));
    options.factor = draw.odd(draw.between(0.8, 2.5));
    options.smooth = draw.yes();
    options.growSteps = static_cast<int>(draw.below(24));
    options.keepBorders = draw.below(4) != 0;
    options.keepOutliers = draw.below(4) == 0;
    options.density = static_cast<Density>(draw.below(3));
    options.levels = static_cast<int>(draw.below(5));
    options.mend = draw.below(8) != 0;
    options.minHandle = draw.odd(draw.between(0.0, 6.0));
    options.refit = draw.yes();
    options.refitRadius = draw.odd(draw.yes() ? 0.0 : draw.between(1.0, 4.0));
    options.untangle = draw.below(4) != 0;
    options.closed = options.mend && options.untangle && draw.below(4) == 0;
    options.keepInner = draw.yes();
    options.minPiece = draw.below(40);
    if (draw.below(4) == 0) options.viewpoint = Point3(draw.odd(5.0), draw.odd(-3.0), 4.0);
    options.measureCoverage = draw.yes();
    if (options.closed && draw.yes()) options.thicken = draw.odd(c.scene.extent * 0.05);
    return options;
}

// What the newer interface promises of every mesh.
void holdSound(const TriangleMesh& mesh, const Call& c) {
    const MeshReport report = check(mesh, {.threads = c.context.threads});
    hold(report.manifold && report.oriented, "a mended mesh is not manifold and oriented");
    hold(report.numDuplicateTriangles == 0, "a mended mesh has a triangle twice");
}

void take(const Reconstruction& r, const ReconstructOptions& options, const Call& c) {
    if (options.mend) holdSound(r.mesh, c);
    if (r.closing.holds) hold(check(r.mesh).closed, "a mesh that is told to be closed is not");
    c.result.add(r.mesh, r.numPoints, r.numStrays, r.numOutliers, r.low, r.high, r.measuredSpacing, r.spacing);
    c.result.add(r.numCells, r.density.unsupportedShare, r.density.levelPoints, r.density.numAddedPoints, r.refit);
    c.result.add(r.numRemovedPieces, r.numRemovedTriangles, r.numCutHandles, r.untangled, r.closing.numClosedLoops);
    c.result.add(r.sideRule, r.numTurnedPieces, r.coverage, r.noise);
}

void callReconstruct(const Call& c) {
    ReconstructOptions options = drawOptions(c);
    options.normals = c.scene.normals;
    take(reconstruct(c.scene.points, options, c.context), options, c);
}

// As most programs call it.
void callReconstructDefaults(const Call& c) {
    ReconstructOptions options;
    options.factor = c.draw.between(1.0, 1.6);
    take(reconstruct(c.scene.points, options, c.context), options, c);
}

// Bytes between the points, and before them.
void callReconstructView(const Call& c) {
    const std::size_t stride = 3 + c.draw.below(3), colorStride = 4 + c.draw.below(3);
    std::vector<double> xyz(stride * c.scene.points.size() + 1, -7.5);
    std::vector<std::uint8_t> colors(colorStride * c.scene.points.size() + 1, 77);
    for (std::size_t i = 0; i < c.scene.points.size(); ++i) {
        const Point3& p = c.scene.points[i];
        std::ranges::copy(std::array{p.px, p.py, p.pz}, xyz.begin() + std::ptrdiff_t(i * stride));
        std::ranges::copy(std::array{p.r, p.g, p.b, p.a}, colors.begin() + std::ptrdiff_t(i * colorStride));
    }
    const PointView view{xyz.data(), c.scene.points.size(), stride, colors.data(), colorStride, nullptr, 3};
    ReconstructOptions options = drawOptions(c);
    take(reconstruct(view, options, c.context), options, c);
}

void callMeasure(const Call& c) {
    const PointStatistics s = measurePoints(c.scene.points, c.context);
    c.result.add(s.numFinite, s.numDuplicates, s.numStrays, s.numOutliers, s.low, s.high, s.spacing, s.numCells);
    c.result.add(s.unsupportedShare, s.localSpacing, s.noise, s.needsDoubles, middleOffset(c.scene.points));
    c.result.add(measureSpacing(c.scene.points, c.context));
}

// ---- from triangles

// Callers who do not want to wait ask first, too.
MeltOptions drawMelt(const Call& c) {
    MeltOptions options;
    options.spacing = c.draw.odd(longestSide(c.scene.mesh) * c.draw.between(0.03, 0.3));
    options.featureAngle = c.draw.odd(c.draw.yes() ? 45.0 : c.draw.between(0.0, 361.0));
    options.mend = c.draw.below(4) != 0;
    options.untangle = c.draw.yes();
    options.outer = c.draw.below(4) == 0;
    const std::vector<Point3> vCorners = cornersOf(c.scene.mesh);
    c.result.add(defaultMeltSpacing(vCorners));
    const double cells = estimateMeltCells(vCorners, options.spacing > 0.0 ? options.spacing : 1.0);
    c.result.add(cells);
    if (options.spacing == 0.0 || cells > 20'000.0) options.spacing = 0.1 * longestSide(c.scene.mesh);
    return options;
}

void callMelt(const Call& c) {
    const MeltOptions options = drawMelt(c);
    const TriangleMesh melted = melt(c.scene.mesh, options, c.context);
    if (options.mend) holdSound(melted, c);
    c.result.add(melted);
}

void callResample(const Call& c) {
    const MeltOptions options = drawMelt(c);
    c.result.add(resample(cornersOf(c.scene.mesh), options, c.context));
}

// ---- on a mesh

// What throws leaves the mesh as it was, but for vertices of no triangle.
template <class Fn>
void change(const Call& c, const Fn& fn) {
    TriangleMesh mesh = c.scene.mesh;
    try {
        fn(mesh);
    } catch (...) {
        hold(mesh.indices.size() == c.scene.mesh.indices.size(), "a call that threw has changed the mesh");
        throw;
    }
    c.result.add(mesh);
}

void mendFirst(TriangleMesh& mesh, const Call& c) {
    if (c.draw.below(4) == 0) return;
    const Context context{.threads = c.context.threads};
    try {
        mend(mesh, {}, context);
    } catch (const ArgumentError&) {
    }
}

void callMend(const Call& c) {
    ManifoldOptions options;
    options.fillHoles = c.draw.yes();
    options.maxHoleEdges = c.draw.below(40);
    options.exactVertices = c.draw.yes();
    options.untangle = c.draw.yes();
    change(c, [&](TriangleMesh& mesh) {
        const ManifoldReport r = mend(mesh, options, c.context);
        holdSound(mesh, c);
        c.result.add(r.numRemovedDuplicates, r.numRemovedSheets, r.numClosedLoops, r.numRenewedPlaces, r.numSeamEdges);
        c.result.add(r.numAddedTriangles, r.numNonManifoldEdges, r.numSplitVertices, r.numReversedTriangles,
                     r.untangled);
    });
}

void callUntangle(const Call& c) {
    TriangleMesh mesh = c.scene.mesh;
    mendFirst(mesh, c);
    c.result.add(untangle(mesh, c.context), mesh);
}

void callSimplify(const Call& c) {
    ReduceOptions options;
    const std::uint32_t kind = c.draw.below(3);
    if (kind != 0) options.targetTriangles = c.scene.mesh.numTriangles() * c.draw.below(100) / 100;
    if (kind != 1) options.maxError = c.draw.odd(c.scene.extent * c.draw.between(0.001, 0.1));
    options.maxColorStep = c.draw.odd(c.draw.between(1.0, 90.0));
    change(c, [&](TriangleMesh& mesh) {
        const double error = simplify(mesh, options, c.context);
        hold(!(error > options.maxError), "an error above that allowed");
        c.result.add(error);
    });
}

void callReduceFlat(const Call& c) {
    ReduceFlatOptions options;
    options.maxEdgeLength = c.draw.odd(c.draw.yes() ? 0.0 : c.scene.extent * c.draw.between(0.05, 1.0));
    options.maxDeviationDeg = c.draw.odd(c.draw.between(0.5, 60.0));
    change(c, [&](TriangleMesh& mesh) { c.result.add(reduceFlat(mesh, options, c.context)); });
}

void callFlip(const Call& c) {
    change(c, [&](TriangleMesh& mesh) { flipEdges(mesh, c.context); });
}

void callAnneal(const Call& c) {
    change(c, [&](TriangleMesh& mesh) { anneal(mesh, c.context); });
}

void callSmooth(const Call& c) {
    SmoothingOptions options;
    options.steps = static_cast<int>(c.draw.below(6));
    options.keepVolume = c.draw.yes();
    options.lambda = c.draw.odd(c.draw.between(0.05, 0.95));
    options.mu = c.draw.odd(-options.lambda - c.draw.between(0.01, 0.1));
    change(c, [&](TriangleMesh& mesh) { smooth(mesh, options, c.context); });
}

void callRefit(const Call& c) {
    RefitOptions options;
    options.spacing = c.draw.odd(c.draw.yes() ? 0.0 : c.scene.extent * c.draw.between(0.02, 0.1));
    options.radius = c.draw.odd(c.draw.yes() ? 0.0 : c.draw.between(1.0, 5.0));
    TriangleMesh mesh = c.scene.mesh;
    mendFirst(mesh, c);
    c.result.add(refit(mesh, c.scene.points, options, c.context), mesh);
}

void callColours(const Call& c) {
    const double low = c.draw.odd(c.draw.between(0.0, 0.3)), high = c.draw.odd(c.draw.between(0.0, 0.3));
    change(c, [&](TriangleMesh& mesh) {
        fillColors(mesh, c.context);
        c.result.add(mesh);
        stretchContrast(mesh, low, high, c.context);
    });
}

// ---- questions

void callCheck(const Call& c) {
    const MeshReport r = check(c.scene.mesh, c.context);
    c.result.add(r.numVertices, r.numEdges, r.components, r.borderLoops, r.numNonManifoldEdges, r.euler, r.area);
    c.result.add(r.numNonManifoldVertices, r.numOrientationConflicts, r.numDegenerateTriangles, r.volume);
    const auto vBorders = borderEdges(c.scene.mesh, c.context);
    hold(vBorders.size() == r.numBorderEdges, "check() and borderEdges() count differently");
    c.result.add(vBorders, averageEdgeLength(c.scene.mesh, c.context));
}

void callIntersections(const Call& c) {
    const auto vPairs = findSelfIntersections(c.scene.mesh, c.context);
    hold(vPairs.size() == countSelfIntersections(c.scene.mesh, c.context), "pairs are not as many as are counted");
    c.result.add(vPairs);
}

void callHandles(const Call& c) {
    TriangleMesh mesh = c.scene.mesh;
    mendFirst(mesh, c);
    const HandleReport report = findHandles(mesh, c.draw.odd(c.draw.yes() ? 0.0 : c.scene.extent), c.context);
    c.result.add(report.numHandles, report.shortHandles);
}

void callThinPlaces(const Call& c) {
    const ThinReport report =
        findThinPlaces(c.scene.mesh, c.draw.odd(c.draw.yes() ? 0.0 : c.scene.extent * 0.1), c.context);
    c.result.add(report.limit, report.numTriangles, report.places);
}

void callCompare(const Call& c) {
    CompareOptions options;
    options.samples = 1 + 4u * c.draw.below(256);
    options.limit = c.draw.odd(c.draw.yes() ? 0.0 : c.scene.extent * 0.02);
    options.bins = 1 + c.draw.below(30);
    TriangleMesh other = c.scene.mesh;
    if (c.draw.yes()) other = {.vertices = c.scene.points, .indices = {}};
    for (std::size_t i = 0; i < other.vertices.size(); i += 3) other.vertices[i].px += 0.01 * c.scene.extent;
    const Comparison found = compare(c.scene.mesh, other, options, c.context);
    c.result.add(found.there, found.back, found.limit, found.distances);
    if (found.limit > 0.0 && found.distances.size() == other.vertices.size()) {
        colorByDistance(other, found.distances, found.limit);
        c.result.add(other);
    }
}

// ---- pictures and files

void callView(const Call& c) {
    DrawOptions options;
    options.width = 16 + c.draw.below(80);
    options.height = 16 + c.draw.below(60);
    options.from = static_cast<ViewFrom>(c.draw.below(7));
    options.yUp = c.draw.yes();
    options.smooth = c.draw.yes();
    options.colors = c.draw.yes();
    options.borders = c.draw.yes();
    options.pointSize = c.draw.odd(c.draw.between(0.0, 5.0));
    options.finer = 1 + c.draw.below(4);
    const ViewScene scene{{&c.scene.mesh}, c.scene.points};
    c.result.add(draw(scene, options, c.context).rgba);
    PageOptions page;
    page.maxTriangles = c.draw.yes() ? 3'000'000 : 100;
    page.maxPoints = c.draw.yes() ? 3'000'000 : 100;
    c.result.add(makePage(scene, "run()", page, c.context));
}

WriteOptions drawWrite(const Call& c) {
    WriteOptions options;
    options.precision = static_cast<Precision>(c.draw.below(3));
    options.text = c.draw.yes();
    options.normals = c.draw.below(4) == 0;
    if (c.draw.yes()) options.offset = {c.draw.odd(0.5), c.draw.odd(-3.0), 0.0};
    return options;
}

void takeFile(const std::filesystem::path& path, const Call& c) {
    std::ifstream in(path, std::ios::binary);
    c.result.add(std::string(std::istreambuf_iterator<char>(in), {}));
}

void callMeshFiles(const Call& c) {
    constexpr const char* names[] = {"a.ply", "a.obj", "a.stl", "a.off", "a.glb"};
    const std::filesystem::path path = std::filesystem::path(c.folder) / names[c.draw.below(std::size(names))];
    c.result.add(write(path, c.scene.mesh, drawWrite(c), c.context).offset);
    takeFile(path, c);
    c.result.add(readMesh(path, {.mergeEqual = c.draw.yes()}, c.context));
}

void callPointFiles(const Call& c) {
    constexpr const char* names[] = {"b.ply", "b.xyz", "b.csv", "b.bin", "b.las", "b.pcd"};
    const std::filesystem::path path = std::filesystem::path(c.folder) / names[c.draw.below(std::size(names))];
    PointFile file;
    file.points = c.scene.points;
    if (c.scene.normals.size() == file.points.size()) file.normals = c.scene.normals;
    c.result.add(write(path, file, drawWrite(c), c.context).doubles);
    takeFile(path, c);
    ReadOptions options;
    options.every = 1 + c.draw.below(3);
    if (c.draw.yes()) options.grid = c.draw.odd(c.scene.extent * c.draw.between(0.01, 0.2));
    const PointFile found = readPoints({path}, options, c.context);
    c.result.add(found.points, found.normals, found.numNotTaken);
}

constexpr Operation table[] = {{"reconstruct", callReconstruct},
                               {"reconstruct-defaults", callReconstructDefaults},
                               {"reconstruct-view", callReconstructView},
                               {"measure", callMeasure},
                               {"melt", callMelt},
                               {"resample", callResample},
                               {"mend", callMend},
                               {"untangle", callUntangle},
                               {"simplify", callSimplify},
                               {"reduce-flat", callReduceFlat},
                               {"flip", callFlip},
                               {"anneal", callAnneal},
                               {"smooth", callSmooth},
                               {"refit", callRefit},
                               {"colours", callColours},
                               {"check", callCheck},
                               {"intersections", callIntersections},
                               {"handles", callHandles},
                               {"compare", callCompare},
                               {"view", callView},
                               {"mesh-files", callMeshFiles},
                               {"point-files", callPointFiles},
                               {"thin-places", callThinPlaces}};

}  // namespace

std::span<const Operation> operations() {
    return table;
}

Digest call(const Operation& operation, const Scene& scene, Draw& draw, const std::string& folder,
            const Context& context) {
    Result result;
    try {
        operation.run({scene, draw, folder, context, result});
    } catch (const InternalError& error) {
        throw Broken(error.what());
    } catch (const ArgumentError&) {
        result.add(1);
    } catch (const NoSurfaceError&) {
        result.add(2);
    } catch (const TooLargeError&) {
        result.add(3);
    } catch (const FileError&) {
        result.add(4);
    }
    return result.get();
}

}  // namespace zef_fuzz
