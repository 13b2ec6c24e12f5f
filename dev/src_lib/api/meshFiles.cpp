#include "zef/meshFiles.h"

#include <iostream>

#include "api/MeshBody.h"
#include "frame/tools.h"
#include "io/meshFormats.h"
#include "refine/RMesh.h"
#include "zef/Mesh.h"
#include "zef/pointFiles.h"

namespace QUOR_ZEF {

namespace {

// The mean length of the edges, each counted as often as triangles have it; 1 if
// there is none.
double meanEdgeLength(const TriangleMesh& mesh) {
    double sum = 0.0;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
        sum += (mesh.vertices[mesh.indices[next]] - mesh.vertices[mesh.indices[i]]).length();
    }
    return sum > 0.0 ? sum / static_cast<double>(mesh.indices.size()) : 1.0;
}

bool writeByType(const std::string& name, const Mesh& mesh, bool bFlag) {
    switch (getFileType(name)) {
        case FT_STL:
            return mesh.writeStl_ASCII(name);
        case FT_PLY:
            return bFlag ? mesh.writePly_ASCII(name) : mesh.writePly_BIN(name);
        case FT_GEOMVIEW:
            return mesh.writeGeomview_ASCII(name);
        default:
            break;
    }
    std::cerr << "Filename [" + name + "] is not valid, using [zef_output.ply] instead\n" << std::flush;
    // Under the name as it was given, whatever the message announces.
    return mesh.writePly_BIN(name);
}

}  // namespace

bool writeMesh(const std::string& path, const std::shared_ptr<Mesh>& pMesh, const WriteMeshOptions& options) {
    ASSEX(pMesh != nullptr);
    try {
        writeMeshFile(path, pMesh->getBody().flatten(VertexOrder::FIRST_USE), options);
        return true;
    } catch (const std::exception& fault) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "writing " + path + " failed: " + fault.what());
        return false;
    }
}

bool writeMesh_auto(const std::string& name, std::shared_ptr<Mesh> pMesh, bool bFlag) {
    ASSEX(pMesh != nullptr);
    try {
        return writeByType(name, *pMesh, bFlag);
    } catch (...) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "writing " + name + " failed");
        return false;
    }
}

std::shared_ptr<Mesh> readMesh(const std::string& path) {
    return readMesh(path, ReadMeshOptions());
}

std::shared_ptr<Mesh> readMesh(const std::string& path, const ReadMeshOptions& options) {
    TriangleMesh flat;
    std::string error;
    if (!readMeshFile(path, options, flat, error)) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), error);
        return nullptr;
    }
    const double cellSize = meanEdgeLength(flat);
    auto pRMesh = std::make_unique<RMesh>(std::move(flat.vertices), flat.indices, cellSize);
    auto pMesh = std::make_shared<Mesh>(pRMesh.get());
    (void)pRMesh.release();
    return pMesh;
}

}  // namespace QUOR_ZEF
