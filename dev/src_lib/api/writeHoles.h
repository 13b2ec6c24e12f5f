#pragma once

#include <string>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Writes the border edges as a Geomview LIST. No triangle may repeat a vertex. A
// warning and false if the file cannot be written.
bool writeHoles(const TriangleMesh& mesh, const std::string& name);

}  // namespace QUOR_ZEF
