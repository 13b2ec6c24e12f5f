#include "zef/files.h"

#include <limits>
#include <utility>

#include "api/calls.h"
#include "api/plans.h"
#include "bytes/AtomicFile.h"
#include "bytes/Visualizer3.h"
#include "files/ScanFile.h"
#include "io/loadCloud.h"
#include "io/meshFormats.h"
#include "io/precision.h"

namespace QUOR_ZEF {

namespace {

void checkOptions(const WriteOptions& options) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    checkOption("spacing", options.spacing, 0.0, infinity);
    for (const double coord : {options.offset.vx, options.offset.vy, options.offset.vz})
        checkOption("offset", coord, -infinity, infinity);
}

}  // namespace

void checkReading(const ReadOptions& options) {
    checkOption("grid", options.grid, 0.0, std::numeric_limits<double>::infinity());
    if (options.every == 0) throw ArgumentError("every: 0 leaves no point; give 1 for all");
    if (!options.box) return;
    const auto& [low, high] = *options.box;
    if (!(low.px <= high.px && low.py <= high.py && low.pz <= high.pz))
        throw ArgumentError("box: its first corner must have the lowest coordinates, its second the highest");
}

namespace {

void showNotes(const std::string& path, const PointFile& file, std::size_t first = 0) {
    for (std::size_t i = first; i < file.notes.size(); ++i) showWarning("readPoints", path + ": " + file.notes[i]);
}

PointFile readOne(const std::filesystem::path& path, const ReadOptions& options) {
    ScanFile file(path.string());
    if (file.isStream()) {
        planReadingFiles();
    } else {
        planReading(false);
    }
    PointFile out = file.load(options);
    finishProgress();
    showNotes(path.string(), out);
    return out;
}

PointFile readMany(const std::vector<std::filesystem::path>& paths, const ReadOptions& options) {
    planReadingFiles();
    uint64 numBytes = 0;
    for (const std::filesystem::path& path : paths) {
        std::error_code unknown;  // told when it is opened
        const std::uintmax_t size = std::filesystem::file_size(path, unknown);
        if (!unknown) numBytes += size;
    }
    PointFile all;
    PointCollector collector(options);
    OptionalStage stage("IO_files", numBytes);
    for (const std::filesystem::path& path : paths) {
        PointFile part;
        ScanFile(path.string()).collect(options, collector, stage, part);
        showNotes(path.string(), part);
        all.numScans += part.numScans;
        all.notes.insert(all.notes.end(), part.notes.begin(), part.notes.end());
    }
    collector.finish(all);
    finishProgress();
    return all;
}

}  // namespace

PointFile readPoints(const std::filesystem::path& path, const Context& context) {
    return runCall(context, [&] { return readOne(path, {}); });
}

PointFile readPoints(const std::vector<std::filesystem::path>& paths, const ReadOptions& options,
                     const Context& context) {
    checkReading(options);
    if (paths.empty()) throw ArgumentError("paths: there is no file to read");
    return runCall(context,
                   [&] { return paths.size() == 1 ? readOne(paths.front(), options) : readMany(paths, options); });
}

TriangleMesh readMesh(const std::filesystem::path& path, const ReadMeshOptions& options, const Context& context) {
    return runCall(context, [&] {
        ScanFile file(path.string());
        planReading(options.mergeEqual || file.hasCorners());
        TriangleMesh mesh = file.loadMesh(options);
        finishProgress();
        return mesh;
    });
}

TriangleMesh toMesh(PointFile file, const ReadMeshOptions& options, const Context& context) {
    for (const std::uint32_t index : file.indices)
        if (index >= file.points.size())
            throw ArgumentError("file: index " + std::to_string(index) + ", but there are " +
                                std::to_string(file.points.size()) + " points");
    file.notes = {};  // told when it was read
    return runCall(context, [&] {
        try {
            return meshOf(std::move(file), "", options);
        } catch (const LoadError& error) {
            throw FileError(error.what());
        }
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

namespace {

WriteResult writeCloud(const std::string& path, const CloudView& cloud, const WriteOptions& options,
                       const Context& context) {
    checkSpan(cloud.points);
    checkOptions(options);
    const CloudWriter* const pWriter = cloudWriterOf(path);
    if (!pWriter) throw ArgumentError(path + ": the ending is no format of points; known are " + writableEndings());
    return runCall(context, [&] {
        planWriting();
        return saveCloud(path, *pWriter, cloud, options);
    });
}

}  // namespace

WriteResult write(const std::filesystem::path& path, std::span<const Point3> points, const WriteOptions& options,
                  const Context& context) {
    return writeCloud(path.string(), {points}, options, context);
}

WriteResult write(const std::filesystem::path& path, const PointFile& file, const WriteOptions& options,
                  const Context& context) {
    const auto fits = [&](std::size_t num) { return num == 0 || num == file.points.size(); };
    if (!fits(file.normals.size()) || !fits(file.classes.size()) || !fits(file.intensities.size()))
        throw ArgumentError("file: normals, classes and intensities must be none, or one for each of its " +
                            std::to_string(file.points.size()) + " points");
    return writeCloud(path.string(), {file.points, file.normals, file.classes, file.intensities}, options, context);
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
    const std::string readEnding = readEndingOf(path.string());
    FileFormat format;
    format.writesMeshes = isMeshFormat(ending);
    format.hasDoubles = hasDoubles(ending);
    const CloudWriter* const pWriter = cloudWriterOf(path.string());
    format.writesPoints = pWriter != nullptr;
    format.alwaysDoubles = pWriter && !pWriter->bHasFloats;
    const Format* const pFormat = formatOfEnding(readEnding);
    format.readsPoints = pFormat != nullptr;
    format.readsMeshes = format.readsPoints && pFormat->bMeshes;
    return format;
}

std::vector<FormatInfo> fileFormats() {
    std::vector<FormatInfo> vInfos;
    for (const Format& format : formatTable()) {
        FormatInfo info;
        info.name = format.name;
        info.endings.assign(format.vEndings.begin(), format.vEndings.end());
        const FileFormat can = formatOf("x" + info.endings.front());
        info.readsPoints = can.readsPoints;
        info.readsMeshes = can.readsMeshes;
        info.writesPoints = can.writesPoints;
        info.writesMeshes = can.writesMeshes;
        info.keeps = format.keeps;
        vInfos.push_back(std::move(info));
    }
    return vInfos;
}

}  // namespace QUOR_ZEF
