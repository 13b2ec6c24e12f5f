#include "zef/meshFiles.h"

#include <iostream>
#include <utility>

#include "api/requireMesh.h"
#include "frame/tools.h"
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

bool writeMesh_auto(const std::string& name, std::shared_ptr<Mesh> pMesh, bool bFlag) {
    requireMesh(pMesh.get());
    try {
        return writeByType(name, *pMesh, bFlag);
    } catch (...) {
        showError(where(__PRETTY_FUNCTION__, __LINE__), "writing " + name + " failed");
        return false;
    }
}

}  // namespace QUOR_ZEF
