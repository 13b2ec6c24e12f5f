#include "io/saveCloud.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <filesystem>
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

enum class CloudForm { PLY, TEXT, CSV, BIN, UNKNOWN };

CloudForm formOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".ply") return CloudForm::PLY;
    if (ending == ".csv") return CloudForm::CSV;
    if (ending == ".bin") return CloudForm::BIN;
    for (const char* const text : {".xyz", ".txt", ".asc", ".pts"}) {
        if (ending == text) return CloudForm::TEXT;
    }
    return CloudForm::UNKNOWN;
}

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

void writePly(AtomicFile& file, std::span<const Point3> vPoints, const WriteOptions& options) {
    PLY::PlyFile ply;
    std::vector<std::array<double, 3>> vDoubles;
    std::vector<std::array<float, 3>> vFloats;
    std::vector<Color> vColors;
    const std::size_t num = vPoints.size();
    if (options.precision == Precision::DOUBLE) {
        vDoubles = coordinatesOf<double>(vPoints, [](double value) { return value; });
        ply.addProperties("vertex", {"x", "y", "z"}, PLY::Type::DOUBLE, num, vDoubles.data());
    } else {
        vFloats = coordinatesOf<float>(vPoints, [](double value) { return narrow(value); });
        ply.addProperties("vertex", {"x", "y", "z"}, PLY::Type::FLOAT, num, vFloats.data());
    }
    if (hasColor(vPoints)) {
        vColors.resize(num);
        std::transform(vPoints.begin(), vPoints.end(), vColors.begin(), colorOf);
        ply.addProperties("vertex", {"red", "green", "blue", "alpha"}, PLY::Type::UCHAR, num, vColors.data());
    }
    for (const std::string& comment : commentsOf(options)) ply.addComment(comment);
    ply.write(file, PLY::Format::LITTLE_ENDIAN_BINARY);
}

void writeText(AtomicFile& file, std::span<const Point3> vPoints, char separator) {
    const bool bColor = hasColor(vPoints);
    RowStage rows("IO_write", vPoints.size());
    for (const Point3& p : vPoints) {
        rows.step();
        file.writeShortest(p.px);
        for (const double value : {p.py, p.pz}) {
            file.write(separator);
            file.writeShortest(value);
        }
        const Color color = colorOf(p);
        for (std::size_t i = 0; bColor && i < 3; ++i) {
            file.write(separator);
            file.writeInteger(color[i]);
        }
        file.write('\n');
    }
    rows.finish();
}

void writeBin(AtomicFile& file, std::span<const Point3> vPoints) {
    constexpr std::int32_t typeXYZ = 30;
    file.writeRaw(typeXYZ);
    file.writeRaw(static_cast<int64>(vPoints.size()));
    RowStage rows("IO_write", vPoints.size());
    for (const Point3& p : vPoints) {
        rows.step();
        for (const double value : {p.px, p.py, p.pz}) file.writeRaw(value);
    }
    rows.finish();
}

void writeForm(AtomicFile& file, CloudForm form, std::span<const Point3> vPoints, const WriteOptions& options) {
    switch (form) {
        case CloudForm::PLY:
            return writePly(file, vPoints, options);
        case CloudForm::TEXT:
            return writeText(file, vPoints, ' ');
        case CloudForm::CSV:
            return writeText(file, vPoints, ',');
        case CloudForm::BIN:
            return writeBin(file, vPoints);
        case CloudForm::UNKNOWN:
            return;
    }
}

CoordinatePlan planPoints(CloudForm form, std::span<const Point3> points, const WriteOptions& options) {
    if (form != CloudForm::PLY) return {true, options.offset, {}};
    return planCoordinates(points, options.spacing > 0.0 ? options.spacing : roughSpacing(points), true, options);
}

}  // namespace

bool isCloudName(const std::string& path) {
    return formOf(path) != CloudForm::UNKNOWN;
}

bool isAlwaysExact(const std::string& path) {
    return isCloudName(path) && formOf(path) != CloudForm::PLY;
}

WriteResult saveCloud(const std::string& path, std::span<const Point3> points, const WriteOptions& options) {
    const CloudForm form = formOf(path);
    if (form == CloudForm::UNKNOWN)
        throw ArgumentError(path +
                            ": the ending is no format of points: use .ply, .xyz, .txt, .asc, .pts, .csv or .bin");
    const CoordinatePlan plan = planPoints(form, points, options);
    const Vector3& offset = plan.offset;
    std::vector<Point3> vShifted;
    if (!offset.isDegenerate()) {
        vShifted.assign(points.begin(), points.end());
        for (Point3& p : vShifted) p.set(p - offset);
        points = vShifted;
    }
    AtomicFile file(path);
    if (file.isGood()) writeForm(file, form, points, settled(options, plan));
    if (!file.commit()) throw FileError(path + ": " + file.getError());
    if (!plan.warning.empty()) showWarning("write", path + ": " + plan.warning);
    return {plan.bDouble, plan.offset};
}

}  // namespace QUOR_ZEF
