#include "files/formatTable.h"

#include <algorithm>

#include "formats/e57.h"
#include "formats/las.h"
#include "formats/lasWriter.h"
#include "formats/pcd.h"
#include "formats/pcdWriter.h"
#include "formats/ptx.h"
#include "io/loadCloud.h"
#include "io/precision.h"
#include "io/streams.h"

namespace QUOR_ZEF {

namespace {

bool isPly(std::string_view bytes) {
    return bytes.starts_with("ply\n") || bytes.starts_with("ply\r");
}

bool isGlb(std::string_view bytes) {
    return bytes.starts_with("glTF");
}

void writePcdCloud(AtomicFile& file, const CloudView& cloud, const WriteOptions& options) {
    writePcd(file, cloud.points, options.precision == Precision::DOUBLE);
}

void writeLasCloud(AtomicFile& file, const CloudView& cloud, const WriteOptions& options) {
    const double spacing = options.spacing > 0.0 ? options.spacing : roughSpacing(cloud.points);
    writeLas(file, {cloud.points, cloud.classes, cloud.intensities}, {.spacing = spacing});
}

const CloudWriter lasCloud{writeLasCloud};
const CloudWriter pcdCloud{writePcdCloud, true};

}  // namespace

const std::vector<Format>& formatTable() {
    static const std::vector<Format> vFormats = {
        {"PLY", {".ply"}, "colours, normals, viewpoint, triangles", true, isPly, openPly, &plyCloud},
        {"text", {".xyz", ".txt", ".asc"}, "colours, normals, intensities", false, nullptr, openText, &textCloud},
        {"PTS", {".pts"}, "colours, normals, intensities", false, nullptr, openPts, &textCloud},
        {"CSV", {".csv"}, "colours, normals, intensities", false, nullptr, openText, &csvCloud},
        {"LAS", {".las"}, "colours, intensities, classes, projection", false, isLas, openLas, &lasCloud, false},
        {"LAZ", {".laz"}, "colours, intensities, classes, projection", false, nullptr, openLas, nullptr, false},
        {"E57", {".e57"}, "colours, intensities, normals, scans, viewpoints", false, isE57, openE57, nullptr, false},
        {"PCD", {".pcd"}, "colours, intensities, normals, viewpoint", false, isPcd, openPcd, &pcdCloud, false},
        {"PTX", {".ptx"}, "colours, intensities, scans, viewpoints", false, isPtx, openPtx, nullptr, false},
        {"binary list", {".bin"}, "nothing", false, nullptr, nullptr, &binCloud},
        {"OBJ", {".obj"}, "colours, triangles", true},
        {"STL", {".stl"}, "triangles", true},
        {"OFF", {".off"}, "colours, triangles", true},
        {"glTF", {".glb", ".gltf"}, "colours, normals, triangles", true, isGlb},
    };
    return vFormats;
}

const Format* formatOfEnding(std::string_view ending) {
    for (const Format& format : formatTable())
        if (std::find(format.vEndings.begin(), format.vEndings.end(), ending) != format.vEndings.end()) return &format;
    return nullptr;
}

const Format* formatOfContent(std::string_view firstBytes) {
    for (const Format& format : formatTable())
        if (format.hasMark && format.hasMark(firstBytes)) return &format;
    return nullptr;
}

const CloudWriter* cloudWriterOf(const std::string& path) {
    const Format* const pFormat = formatOfEnding(endingOf(path));
    return pFormat ? pFormat->pWriter : nullptr;
}

std::string writableEndings() {
    std::string text;
    for (const Format& format : formatTable())
        for (const char* const ending : format.vEndings)
            if (format.pWriter) text.append(text.empty() ? "" : " ").append(ending);
    return text;
}

std::string readableEndings(bool bMeshesOnly) {
    std::string text;
    for (const Format& format : formatTable())
        for (const char* const ending : format.vEndings)
            if (format.bMeshes || !bMeshesOnly) text.append(text.empty() ? "" : " ").append(ending);
    return text;
}

std::string readEndingOf(const std::string& path) {
    const std::string ending = endingOf(path);
    return ending == ".gz" ? endingOf(path.substr(0, path.size() - ending.size())) : ending;
}

}  // namespace QUOR_ZEF
