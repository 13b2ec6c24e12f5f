#pragma once

namespace QUOR_ZEF {

class RMesh;

// A component of an RMesh with one orientation: triangles connected across edges
// of degree 2. Owner: the RMesh, until its next orientPatches().
class RPatch {
public:
    bool bAlive = true;
    const int id;   // consecutive in the process; says nothing about the mesh
    RMesh* pRMesh;  // not owned

    explicit RPatch(RMesh* pRMesh_);
};

}  // namespace QUOR_ZEF
