#pragma once

#include "zef/errors.h"

namespace QUOR_ZEF {

class Mesh;

inline void requireMesh(const Mesh* pMesh) {
    if (!pMesh) throw ArgumentError("pMesh is null; give the mesh of a reconstruction, or Mesh::fromTriangles()");
}

}  // namespace QUOR_ZEF
