#pragma once

#include <memory>
#include <string>

#include "zef/export.h"

namespace QUOR_ZEF {

class Mesh;

// The older writer of meshes; see files.h for the newer one. By getFileType: STL as
// text, PLY, or a Geomview list. For PLY, bFlag chooses
// Mesh::writePly_ASCII, whose file is binary, otherwise writePly_BIN, whose file is
// text. For any other name that text file is written under the name as it stands,
// whatever the message says. False, after a message, for a name too short to have
// an ending. What stood under the name stays if the file cannot be written whole. A null
// mesh throws an ArgumentError.
ZEF_API bool writeMesh_auto(const std::string& name, std::shared_ptr<Mesh> pMesh, bool bFlag);

}  // namespace QUOR_ZEF
