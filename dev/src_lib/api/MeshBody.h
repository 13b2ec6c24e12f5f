#pragma once

#include <cstddef>
#include <memory>

#include "flat/arrays.h"

namespace QUOR_ZEF {

class RMesh;

// What a Mesh holds: plain triangles as long as these will do, and the RMesh made of
// them from the first call of get() on. Which of the two it is never shows in a
// result. One thread at a time.
class MeshBody {
public:
    // Takes ownership; never null.
    explicit MeshBody(RMesh* pRMesh_);
    // No triangle may repeat a vertex. cellSize: as for the RMesh.
    MeshBody(TriangleMesh flat_, double cellSize_);
    ~MeshBody();
    MeshBody(const MeshBody&) = delete;
    MeshBody& operator=(const MeshBody&) = delete;

    // About 0.25 microseconds a triangle the first time.
    RMesh* get();
    std::size_t numTriangles() const;
    std::size_t numVertices() const;  // those of no triangle too
    double getCellSize() const;
    bool hasColor() const;
    TriangleMesh flatten(VertexOrder order) const;

private:
    std::unique_ptr<RMesh> pRMesh;
    // While there is none:
    TriangleMesh flat;
    double cellSize = 0.0;
};

}  // namespace QUOR_ZEF
