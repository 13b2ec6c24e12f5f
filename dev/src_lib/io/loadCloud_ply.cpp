#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "io/cloudLoaders.h"
#include "io/plyVertices.h"

namespace QUOR_ZEF {

namespace {

using PLY::PlyData;
using PLY::PlyElement;
using PLY::PlyFile;
using Data = std::shared_ptr<PlyData>;

bool hasProperties(const PlyFile& ply, const char* elementName, const std::vector<std::string>& vKeys, bool bList) {
    const PlyElement* pElement = ply.findElement(elementName);
    return pElement && std::all_of(vKeys.begin(), vKeys.end(), [&](const std::string& key) {
               const auto it = std::find_if(pElement->vProperties.begin(), pElement->vProperties.end(),
                                            [&](const PLY::PlyProperty& property) { return property.name == key; });
               return it != pElement->vProperties.end() && it->isList() == bList;
           });
}

// The first of the groups that the element has; null if it has none.
Data requestFirst(PlyFile& ply, const char* element, const std::vector<std::vector<std::string>>& vGroups, bool bList) {
    for (const std::vector<std::string>& vKeys : vGroups)
        if (hasProperties(ply, element, vKeys, bList)) return ply.requestProperties(element, vKeys, bList ? 3 : 0);
    return nullptr;
}

std::string formatName(const PlyFile& ply) {
    switch (ply.getFormat()) {
        case PLY::Format::ASCII:
            return "PLY, text";
        case PLY::Format::LITTLE_ENDIAN_BINARY:
            return "PLY, little-endian binary";
        case PLY::Format::BIG_ENDIAN_BINARY:
            return "PLY, big-endian binary";
    }
    return {};
}

void takePoints(const PlyData& xyz, PointFile& out) {
    reserveMore(out.points, xyz.count);
    PLY::visitType(xyz.type, [&](auto example) {
        using T = decltype(example);
        RowStage rows("IO_read", xyz.count);
        for (std::size_t i = 0; i < xyz.count; ++i, rows.step()) {
            const char* p = xyz.row(i);
            out.points.emplace_back(loadValue<T>(p), loadValue<T>(p + sizeof(T)), loadValue<T>(p + 2 * sizeof(T)));
        }
    });
}

void takeNormals(const PlyData& xyz, PointFile& out) {
    out.normals.reserve(xyz.count);
    PLY::visitType(xyz.type, [&](auto example) {
        using T = decltype(example);
        const auto at = [](const char* p) { return static_cast<double>(loadValue<T>(p)); };
        RowStage rows("IO_read", xyz.count);
        for (std::size_t i = 0; i < xyz.count; ++i, rows.step()) {
            const char* p = xyz.row(i);
            addNormal({at(p), at(p + sizeof(T)), at(p + 2 * sizeof(T))}, out.normals);
        }
    });
}

// Nothing if the comment is not "viewpoint" and three finite numbers, whatever follows.
std::optional<Point3> viewpointIn(std::string_view comment) {
    std::string word(takeWord(comment));
    for (char& c : word)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (word != "viewpoint") return {};
    std::array<double, 3> coords{};
    for (double& coord : coords) {
        const std::string_view number = takeWord(comment);
        const char* pEnd = number.data() + number.size();
        if (parseAnyNumber(number.data(), pEnd, coord) != pEnd || !std::isfinite(coord) || number.empty()) return {};
    }
    return Point3(coords[0], coords[1], coords[2]);
}

void takeViewpoint(const PlyFile& ply, PointFile& out) {
    for (const auto* pTexts : {&ply.getComments(), &ply.getObjInfo()})
        for (const std::string& text : *pTexts)
            if (!out.viewpoint) out.viewpoint = viewpointIn(text);
}

float largestOf(const PlyData& data) {
    return PLY::visitType(data.type, [&](auto example) {
        using T = decltype(example);
        float largest = 0.f;
        if (sizeof(T) == 1) return largest;
        for (std::size_t i = 0; i < data.count; ++i)
            for (std::size_t k = 0; k < data.width; ++k)
                largest = std::max(largest, narrow(static_cast<double>(loadValue<T>(data.row(i) + k * sizeof(T)))));
        return largest;
    });
}

// What full brightness is: for real numbers 1 or 255, as the largest one tells.
template <class T>
float brightest(float largest) {
    if (sizeof(T) == 1) return 255.f;
    if (std::is_floating_point_v<T>) return largest > 1.f ? 255.f : 1.f;
    return largest > 255.f ? 65535.f : 255.f;
}

template <class T>
std::uint8_t toByte(const char* p, float full) {
    const T value = loadValue<T>(p);
    if constexpr (std::is_same_v<T, std::uint8_t>) return value;
    const double scaled = static_cast<double>(value) * 255.0 / static_cast<double>(full) + 0.5;
    if (!(scaled >= 1.0)) return 0;
    return scaled >= 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(scaled);
}

void takeColors(const PlyData& rgb, float largest, std::vector<Point3>& vPoints) {
    PLY::visitType(rgb.type, [&](auto example) {
        using T = decltype(example);
        const float full = brightest<T>(largest);
        RowStage rows("IO_read", vPoints.size());
        for (std::size_t i = 0; i < vPoints.size(); ++i, rows.step()) {
            const char* p = rgb.row(i);
            vPoints[i].setColor(toByte<T>(p, full), toByte<T>(p + sizeof(T), full), toByte<T>(p + 2 * sizeof(T), full),
                                255);
        }
    });
}

void takeAlpha(const PlyData& alpha, float largest, std::vector<Point3>& vPoints) {
    PLY::visitType(alpha.type, [&](auto example) {
        using T = decltype(example);
        const float full = brightest<T>(largest);
        for (std::size_t i = 0; i < vPoints.size(); ++i) vPoints[i].a = toByte<T>(alpha.row(i), full);
    });
}

template <class T>
std::uint32_t toIndex(const char* p, std::size_t numVertices, std::size_t face) {
    const T value = loadValue<T>(p);
    if (!(value >= T{0}) || !(static_cast<double>(value) < static_cast<double>(numVertices)))
        throw LoadError("face " + std::to_string(face + 1) + " has the vertex index " + std::to_string(value) +
                        ", but the indices end at " + std::to_string(static_cast<int64>(numVertices) - 1) +
                        "; the file is damaged, export it anew");
    return static_cast<std::uint32_t>(value);
}

std::size_t countTriangles(const PlyData& faces) {
    std::size_t num = 0;
    for (std::size_t i = 0; i < faces.count; ++i) num += std::max<std::size_t>(faces.rowLength(i), 2) - 2;
    return num;
}

void takeFaces(const PlyData& faces, std::size_t fileSize, PointFile& out) {
    const std::size_t numTriangles = countTriangles(faces);
    // Beside them stand the file, the indices and the lengths of the faces.
    if (numTriangles > (memoryLimit(fileSize) - 4 * fileSize) / (3 * sizeof(std::uint32_t)))
        throw LoadError("too many triangles for a file of this size");
    out.indices.reserve(3 * numTriangles);
    FanMaker fan(out);
    PLY::visitType(faces.type, [&](auto example) {
        using T = decltype(example);
        const char* p = faces.pFirst;
        RowStage rows("IO_read", faces.count);
        for (std::size_t i = 0; i < faces.count; ++i, rows.step()) {
            for (std::size_t k = 0; k < faces.rowLength(i); ++k, p += sizeof(T))
                fan.addCorner(toIndex<T>(p, out.points.size(), i));
            fan.endFace();
        }
    });
    if (!out.indices.empty()) out.kind = PointFile::Kind::MESH;
}

void noteSkipped(const PlyFile& ply, PointFile& out) {
    const PlyElement* pStrips = ply.findElement("tristrips");
    if (pStrips && pStrips->count > 0) out.notes.emplace_back("Triangle strips are skipped.");
}

}  // namespace

void PlyVertices::request(PlyFile& ply) {
    if (!hasProperties(ply, "vertex", {"x", "y", "z"}, false))
        throw LoadError("the header has no element \"vertex\" with the properties x, y and z; nothing to read");
    pXYZ = requestFirst(ply, "vertex", {{"x", "y", "z"}}, false);
    pRGB = requestFirst(ply, "vertex",
                        {{"red", "green", "blue"}, {"diffuse_red", "diffuse_green", "diffuse_blue"}, {"r", "g", "b"}},
                        false);
    pAlpha = pRGB ? requestFirst(ply, "vertex", {{"alpha"}, {"a"}}, false) : nullptr;
    pNormals = requestFirst(ply, "vertex", {{"nx", "ny", "nz"}}, false);
}

void PlyVertices::take(const PlyBrightness& brightness, PointFile& out) const {
    if (pXYZ->count > std::numeric_limits<std::uint32_t>::max())
        throw LoadError("more than 4294967295 vertices; cut the cloud into parts");
    takePoints(*pXYZ, out);
    if (pRGB) takeColors(*pRGB, brightness.color, out.points);
    if (pAlpha) takeAlpha(*pAlpha, brightness.alpha, out.points);
    if (pNormals) takeNormals(*pNormals, out);
}

void PlyBrightness::widen(const PlyVertices& vertices) {
    if (vertices.pRGB) color = std::max(color, largestOf(*vertices.pRGB));
    if (vertices.pAlpha) alpha = std::max(alpha, largestOf(*vertices.pAlpha));
}

void takePlyHeader(const PlyFile& ply, PointFile& out) {
    out.format = formatName(ply);
    for (const std::string& comment : ply.getComments()) keepComment(comment, out.comments);
    takeViewpoint(ply, out);
    noteSkipped(ply, out);
}

void loadPlyCloud(std::string_view bytes, PointFile& out) {
    PlyFile ply;
    ply.parseHeader(bytes, PLY::HeaderRule::STRICT);
    takePlyHeader(ply, out);
    PlyVertices vertices;
    vertices.request(ply);
    const Data pFaces = requestFirst(ply, "face", {{"vertex_indices"}, {"vertex_index"}}, true);
    ply.read();
    PlyBrightness brightness;
    brightness.widen(vertices);
    vertices.take(brightness, out);
    if (pFaces) takeFaces(*pFaces, bytes.size(), out);
}

}  // namespace QUOR_ZEF
