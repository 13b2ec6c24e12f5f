#include "zef/meshFiles.h"

#include <iostream>
#include <utility>

#include "api/MeshBody.h"
#include "frame/tools.h"
#include "io/meshFormats.h"
#include "zef/Mesh.h"
#include "zef/pointFiles.h"

namespace QUOR_ZEF {

namespace {

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
    MeshFile file;
    std::string error;
    if (!readMeshFile(path, options, file, error)) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), error);
        return nullptr;
    }
    return std::make_shared<Mesh>(
        std::make_unique<MeshBody>(std::move(file.mesh), file.meanSideLength, file.numSkipped));
}

}  // namespace QUOR_ZEF
