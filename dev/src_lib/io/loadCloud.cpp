#include "io/loadCloud.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "bytes/FileBytes.h"
#include "bytes/gzip.h"
#include "bytes/textNumbers.h"
#include "io/PLY.h"
#include "io/cloudLoaders.h"

namespace QUOR_ZEF {

namespace {

bool isTextList(const std::string& ending) {
    constexpr std::array<std::string_view, 7> others{".ply", ".stl", ".obj", ".off", ".bin", ".glb", ".gltf"};
    return std::find(others.begin(), others.end(), ending) == others.end();
}

void loadByEnding(const CloudForm& form, InputFile& file, PointFile& out) {
    const std::string& ending = form.ending;
    if (isTextList(ending)) return loadTextCloud(file, form.columns, ending == ".pts", out);
    const std::string_view bytes = file.hold();
    if (ending == ".ply") return loadPlyCloud(bytes, out);
    if (ending == ".stl") return loadStlCloud(bytes, out);
    if (ending == ".obj") return loadObjCloud(bytes, out);
    if (ending == ".off") return loadOffCloud(bytes, out);
    if (ending == ".bin") return loadBinCloud(bytes, out);
    loadGltfCloud(bytes, out);
}

void countUnused(PointFile& out) {
    if (out.kind != PointFile::Kind::MESH) return;
    std::vector<bool> vUsed(out.points.size());
    for (const std::uint32_t index : out.indices) vUsed[index] = true;
    out.numUnusedVertices = static_cast<uint64>(std::count(vUsed.begin(), vUsed.end(), false));
}

// What stands before a fault counts for points alone: triangles may want corners that are lost.
void loadGoodPart(const CloudForm& form, InputFile& file, PointFile& out) {
    try {
        loadByEnding(form, file, out);
    } catch (const LoadError& error) {
        if (!form.bPartial || out.points.empty() || out.kind != PointFile::Kind::POINTS) throw;
        if (!out.normals.empty()) out.normals.resize(out.points.size());
        out.notes.push_back(partialNote(error, out.points.size()));
    }
}

void load(InputFile& file, const CloudForm& form, PointFile& out) {
    loadGoodPart(form, file, out);
    countUnused(out);
    if (std::all_of(out.normals.begin(), out.normals.end(), [](const Vector3& v) { return v.isDegenerate(); }))
        out.normals = {};
    out.hasColor = std::any_of(out.points.begin(), out.points.end(), [](const Point3& p) { return p.hasColor(); });
}

std::uint8_t toByte(float value, float scale) {
    const float scaled = value * scale;
    if (!(scaled > 0.f)) return 0;
    return scaled >= 255.f ? std::uint8_t{255} : static_cast<std::uint8_t>(std::lround(scaled));
}

}  // namespace

std::string endingOf(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return {};
    std::string ending = path.substr(dot);
    for (char& c : ending)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return ending;
}

std::string partialNote(const LoadError& error, uint64 numGood) {
    return std::string(error.what()) + "; the " + std::to_string(numGood) + " points before that are taken.";
}

PointFile loadCloud(InputFile& file, const CloudForm& form) {
    if (file.getSize() == 0) throw LoadError("the file is empty");
    std::array<char, 3> mark{};
    file.read(0, std::span(mark).first(std::min<std::size_t>(mark.size(), file.getSize())));
    try {
        PointFile out;
        if (!isGzip({mark.data(), mark.size()})) {
            load(file, form, out);
            return out;
        }
        const std::string unpacked = unpackGzip(file.hold());
        InputFile inner = InputFile::of(unpacked);
        load(inner, form, out);
        return out;
    } catch (const PLY::PlyError& error) {
        throw loadErrorOf(error);
    }
}

LoadError loadErrorOf(const PLY::PlyError& error) {
    return LoadError((error.place.empty() ? "" : error.place + ": ") + error.what() +
                     "; the file is damaged or cut short, export it anew");
}

void failAtLine(std::string_view text, const char* pHere, const std::string& fault) {
    throw LoadError("line " + std::to_string(lineNumber(text, pHere)) + ": " + fault);
}

void keepComment(std::string_view line, std::vector<std::string>& vComments) {
    constexpr std::size_t maxComments = 100;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (vComments.size() < maxComments) vComments.emplace_back(line);
}

void addNormal(const Vector3& normal, std::vector<Vector3>& vNormals) {
    vNormals.push_back(std::isfinite(normal.vx + normal.vy + normal.vz) ? normal : Vector3());
}

void checkIsText(std::string_view bytes) {
    const std::size_t zero = bytes.find('\0');
    if (zero != std::string_view::npos) throw LoadError("byte " + std::to_string(zero) + ": " + notText);
}

void FanMaker::addCorner(std::uint32_t index) {
    if (numCorners >= 2)
        for (const std::uint32_t corner : {first, last, index}) pushSlowly(out.indices, corner);
    if (numCorners == 0) first = index;
    last = index;
    ++numCorners;
}

void FanMaker::endFace() {
    if (numCorners < 3) ++out.numDroppedFaces;
    if (numCorners > 3) ++out.numPolygons;
    numCorners = 0;
}

void ColorColumn::set(std::size_t index, const Color& color) {
    while (vColors.size() < index) pushSlowly(vColors, Color{none, none, none, none});
    pushSlowly(vColors, color);
}

void ColorColumn::apply(PointFile& out) const {
    float largest = 0.f, largestAlpha = 0.f;
    for (const Color& color : vColors) {
        for (int i = 0; i < 3; ++i) largest = std::max(largest, color[static_cast<std::size_t>(i)]);
        largestAlpha = std::max(largestAlpha, color[3]);
    }
    const float scale = largest > 1.f ? 1.f : 255.f;
    const float alphaScale = largestAlpha > 1.f ? 1.f : 255.f;
    for (std::size_t i = 0; i < vColors.size(); ++i) {
        const auto& [red, green, blue, alpha] = vColors[i];
        if (std::isnan(red) && std::isnan(green) && std::isnan(blue)) continue;
        out.points[i].setColor(toByte(red, scale), toByte(green, scale), toByte(blue, scale),
                               std::isnan(alpha) ? std::uint8_t{255} : toByte(alpha, alphaScale));
    }
}

}  // namespace QUOR_ZEF
