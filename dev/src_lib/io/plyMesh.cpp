#include "io/plyMesh.h"

#include <array>

#include "bytes/AtomicFile.h"
#include "bytes/textNumbers.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "io/vertexNormals.h"

namespace QUOR_ZEF::PLY {

namespace {

template <class T, class Convert>
std::vector<T> collectCoordinates(const std::vector<Point3>& vVertices, Convert convert) {
    std::vector<T> vXYZ;
    vXYZ.reserve(3 * vVertices.size());
    for (const Point3& p : vVertices) {
        pollRun(vXYZ.size());
        for (const double coord : {p.px, p.py, p.pz}) vXYZ.push_back(convert(coord));
    }
    return vXYZ;
}

std::vector<std::uint8_t> collectColors(const std::vector<Point3>& vVertices) {
    std::vector<std::uint8_t> vRGBA;
    vRGBA.reserve(4 * vVertices.size());
    for (const Point3& p : vVertices)
        for (const std::uint8_t channel : {p.r, p.g, p.b, p.a}) vRGBA.push_back(channel);
    return vRGBA;
}

}  // namespace

void writePlyMesh(const TriangleMesh& mesh, const std::string& name, const MeshLayout& layout) {
    AtomicFile file(name);
    if (!file.isGood()) throw PlyError(file.getError());
    std::vector<float> vFloats;
    std::vector<double> vDoubles;
    if (layout.bDouble) {
        vDoubles = collectCoordinates<double>(mesh.vertices, [](double coord) { return coord; });
    } else {
        vFloats = collectCoordinates<float>(mesh.vertices, narrow);
    }
    std::vector<std::uint8_t> vRGBA;
    if (layout.bColor) vRGBA = collectColors(mesh.vertices);

    PlyFile ply;
    for (const std::string& comment : layout.vComments) ply.addComment(comment);
    const std::size_t num = mesh.vertices.size();
    const void* pXYZ = layout.bDouble ? static_cast<const void*>(vDoubles.data()) : vFloats.data();
    ply.addProperties("vertex", {"x", "y", "z"}, layout.bDouble ? Type::DOUBLE : Type::FLOAT, num, pXYZ);
    std::vector<std::array<float, 3>> vNormals;
    if (layout.bNormals) vNormals = vertexNormals(mesh);
    if (layout.bNormals) ply.addProperties("vertex", {"nx", "ny", "nz"}, Type::FLOAT, num, vNormals.data());
    if (layout.bColor) ply.addProperties("vertex", {"red", "green", "blue", "alpha"}, Type::UCHAR, num, vRGBA.data());
    ply.addProperties("face", {"vertex_indices"}, Type::UINT, mesh.numTriangles(), mesh.indices.data(), Type::UCHAR, 3);
    ply.write(file, layout.format, layout.digits);
    if (!file.commit()) throw PlyError(file.getError());
}

bool writePly(const TriangleMesh& mesh, const std::string& name, bool bAscii) {
    try {
        MeshLayout layout;
        layout.format = bAscii ? Format::ASCII : Format::LITTLE_ENDIAN_BINARY;
        writePlyMesh(mesh, name, layout);
        return true;
    } catch (...) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "Failed, filename=" + name);
        return false;
    }
}

}  // namespace QUOR_ZEF::PLY
