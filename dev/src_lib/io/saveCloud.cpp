#include "io/saveCloud.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "bytes/AtomicFile.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "frame/types.h"
#include "io/PLY.h"
#include "io/meshFormats.h"
#include "io/precision.h"

namespace QUOR_ZEF {

namespace {

using Color = std::array<std::uint8_t, 4>;

Color colorOf(const Point3& p) {
    return p.hasColor() ? Color{p.r, p.g, p.b, p.a} : Color{255, 255, 255, 255};
}

bool hasColor(std::span<const Point3> vPoints) {
    return std::any_of(vPoints.begin(), vPoints.end(), [](const Point3& p) { return p.hasColor(); });
}

template <class T, class Narrow>
std::vector<std::array<T, 3>> coordinatesOf(std::span<const Point3> vPoints, Narrow&& narrow) {
    std::vector<std::array<T, 3>> vCoords(vPoints.size());
    std::transform(vPoints.begin(), vPoints.end(), vCoords.begin(), [&](const Point3& p) {
        return std::array<T, 3>{narrow(p.px), narrow(p.py), narrow(p.pz)};
    });
    return vCoords;
}

std::vector<std::array<float, 3>> floatsOf(std::span<const Vector3> vNormals) {
    std::vector<std::array<float, 3>> vFloats(vNormals.size());
    std::transform(vNormals.begin(), vNormals.end(), vFloats.begin(), [](const Vector3& v) {
        return std::array<float, 3>{narrow(v.vx), narrow(v.vy), narrow(v.vz)};
    });
    return vFloats;
}

void writePly(AtomicFile& file, const CloudView& cloud, const WriteOptions& options) {
    PLY::PlyFile ply;
    std::vector<std::array<double, 3>> vDoubles;
    std::vector<std::array<float, 3>> vFloats;
    std::vector<Color> vColors;
    const std::size_t num = cloud.points.size();
    if (options.precision == Precision::DOUBLE) {
        vDoubles = coordinatesOf<double>(cloud.points, [](double value) { return value; });
        ply.addProperties("vertex", {"x", "y", "z"}, PLY::Type::DOUBLE, num, vDoubles.data());
    } else {
        vFloats = coordinatesOf<float>(cloud.points, [](double value) { return narrow(value); });
        ply.addProperties("vertex", {"x", "y", "z"}, PLY::Type::FLOAT, num, vFloats.data());
    }
    const std::vector<std::array<float, 3>> vNormals = floatsOf(cloud.normals);
    if (!vNormals.empty()) ply.addProperties("vertex", {"nx", "ny", "nz"}, PLY::Type::FLOAT, num, vNormals.data());
    if (hasColor(cloud.points)) {
        vColors.resize(num);
        std::transform(cloud.points.begin(), cloud.points.end(), vColors.begin(), colorOf);
        ply.addProperties("vertex", {"red", "green", "blue", "alpha"}, PLY::Type::UCHAR, num, vColors.data());
    }
    for (const std::string& comment : commentsOf(options)) ply.addComment(comment);
    ply.write(file, PLY::Format::LITTLE_ENDIAN_BINARY);
}

// Columns beyond colours tell their names.
void writeNames(AtomicFile& file, bool bColor, char separator) {
    std::string names = bColor ? "# x y z r g b nx ny nz\n" : "# x y z nx ny nz\n";
    std::replace(names.begin() + 2, names.end(), ' ', separator);
    file.write(names);
}

void writeLines(AtomicFile& file, const CloudView& cloud, char separator) {
    const bool bColor = hasColor(cloud.points);
    if (!cloud.normals.empty()) writeNames(file, bColor, separator);
    RowStage rows("IO_write", cloud.points.size());
    for (std::size_t i = 0; i < cloud.points.size(); ++i) {
        const Point3& p = cloud.points[i];
        rows.step();
        file.writeShortest(p.px);
        for (const double value : {p.py, p.pz}) {
            file.write(separator);
            file.writeShortest(value);
        }
        const Color color = colorOf(p);
        for (std::size_t k = 0; bColor && k < 3; ++k) {
            file.write(separator);
            file.writeInteger(color[k]);
        }
        if (!cloud.normals.empty()) {
            for (const double value : {cloud.normals[i].vx, cloud.normals[i].vy, cloud.normals[i].vz}) {
                file.write(separator);
                file.writeShortest(narrow(value));
            }
        }
        file.write('\n');
    }
    rows.finish();
}

void writeText(AtomicFile& file, const CloudView& cloud, const WriteOptions&) {
    writeLines(file, cloud, ' ');
}

void writeCsv(AtomicFile& file, const CloudView& cloud, const WriteOptions&) {
    writeLines(file, cloud, ',');
}

void writeBin(AtomicFile& file, const CloudView& cloud, const WriteOptions&) {
    constexpr std::int32_t typeXYZ = 30;
    file.writeRaw(typeXYZ);
    file.writeRaw(static_cast<int64>(cloud.points.size()));
    RowStage rows("IO_write", cloud.points.size());
    for (const Point3& p : cloud.points) {
        rows.step();
        for (const double value : {p.px, p.py, p.pz}) file.writeRaw(value);
    }
    rows.finish();
}

CoordinatePlan planPoints(const CloudWriter& writer, std::span<const Point3> points, const WriteOptions& options) {
    if (!writer.bHasFloats) return {true, options.offset, {}};
    return planCoordinates(points, options.spacing > 0.0 ? options.spacing : roughSpacing(points), true, options);
}

}  // namespace

const CloudWriter plyCloud{writePly, true, true};
const CloudWriter textCloud{writeText, false, true};
const CloudWriter csvCloud{writeCsv, false, true};
const CloudWriter binCloud{writeBin};

WriteResult saveCloud(const std::string& path, const CloudWriter& writer, const CloudView& cloud,
                      const WriteOptions& options) {
    if (options.normals && !writer.bHasNormals)
        throw ArgumentError(path + ": the format holds no normals of points; write .ply or .xyz");
    CloudView out = cloud;
    if (!options.normals) out.normals = {};
    const CoordinatePlan plan = planPoints(writer, cloud.points, options);
    const Vector3& offset = plan.offset;
    std::vector<Point3> vShifted;
    if (!offset.isDegenerate()) {
        vShifted.assign(cloud.points.begin(), cloud.points.end());
        for (Point3& p : vShifted) p.set(p - offset);
        out.points = vShifted;
    }
    AtomicFile file(path);
    try {
        if (file.isGood()) writer.write(file, out, settled(options, plan));
    } catch (const SaveError& error) {
        throw FileError(path + ": " + error.what());
    }
    if (!file.commit()) throw FileError(path + ": " + file.getError());
    if (!plan.warning.empty()) showWarning("write", path + ": " + plan.warning);
    return {plan.bDouble, plan.offset};
}

}  // namespace QUOR_ZEF
