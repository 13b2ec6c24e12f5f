#include "zef/files.h"

#include <limits>
#include <utility>

#include "api/calls.h"
#include "api/plans.h"
#include "bytes/AtomicFile.h"
#include "bytes/Visualizer3.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"
#include "io/precision.h"
#include "io/saveCloud.h"

namespace QUOR_ZEF {

namespace {

void checkOptions(const WriteOptions& options) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    checkOption("spacing", options.spacing, 0.0, infinity);
    for (const double coord : {options.offset.vx, options.offset.vy, options.offset.vz})
        checkOption("offset", coord, -infinity, infinity);
}

}  // namespace

PointFile readPoints(const std::filesystem::path& path, const Context& context) {
    return runCall(context, [&] {
        planReading(false);
        PointFile file = loadCloud(path.string());
        finishProgress();
        for (const std::string& note : file.notes) showWarning("readPoints", path.string() + ": " + note);
        return file;
    });
}

TriangleMesh readMesh(const std::filesystem::path& path, const ReadMeshOptions& options, const Context& context) {
    return runCall(context, [&] {
        planReading(options.mergeEqual || endingOf(path.string()) == ".stl");
        TriangleMesh mesh = readMeshFile(path.string(), options);
        finishProgress();
        return mesh;
    });
}

WriteResult write(const std::filesystem::path& path, const TriangleMesh& mesh, const WriteOptions& options,
                  const Context& context) {
    checkIndices(mesh);
    checkOptions(options);
    return runCall(context, [&] {
        planWriting();
        return writeMeshFile(path.string(), mesh, options);
    });
}

WriteResult write(const std::filesystem::path& path, std::span<const Point3> points, const WriteOptions& options,
                  const Context& context) {
    checkSpan(points);
    checkOptions(options);
    return runCall(context, [&] {
        planWriting();
        return saveCloud(path.string(), points, options);
    });
}

Vector3 middleOffset(std::span<const Point3> points) {
    checkSpan(points);
    return middleOf(points);
}

Vector3 middleOffset(const TriangleMesh& mesh) {
    checkRange(mesh);
    return middleOf(mesh);
}

void writeSegments(const std::filesystem::path& path, std::span<const Point3> ends, const Context& context) {
    checkSpan(ends, "ends");
    if (ends.size() % 2 != 0)
        throw ArgumentError("ends: a segment has two of them, and there are " + std::to_string(ends.size()));
    runCall(context, [&] {
        std::vector<std::pair<Point3, Point3>> vLines;
        vLines.reserve(ends.size() / 2);
        for (std::size_t i = 0; i < ends.size(); i += 2) vLines.emplace_back(ends[i], ends[i + 1]);
        Visualizer3 list;
        list.addEdges(vLines);
        list.save(path.string());
    });
}

FileFormat formatOf(const std::filesystem::path& path) {
    const std::string ending = endingOf(path.string());
    FileFormat format;
    format.writesMeshes = isMeshFormat(ending);
    format.hasDoubles = hasDoubles(ending);
    format.writesPoints = isCloudName(path.string());
    format.alwaysDoubles = isAlwaysExact(path.string());
    format.readsMeshes = format.writesMeshes && ending != ".glb";
    format.readsPoints = format.readsMeshes || format.writesPoints;
    return format;
}

}  // namespace QUOR_ZEF
