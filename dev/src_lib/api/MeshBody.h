#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

class RMesh;
struct SmoothingOptions;

// What a Mesh holds: plain triangles as long as these will do, and the RMesh made of
// them from the first call of get() on. Which of the two it is never shows in a
// result, and points handed out stay where they are. One thread at a time.
class MeshBody {
public:
    // Takes ownership; never null.
    explicit MeshBody(RMesh* pRMesh_);
    // No triangle may repeat a vertex. cellSize_: as for the RMesh. Too many
    // triangles: see checkMeshSize().
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
    double averageEdgeLength() const;  // -1 without triangles
    // The vertices of triangles in order, and three corners a triangle. Appended.
    void getPoints(std::vector<Point3*>& vPoints);
    void getCorners(std::vector<Point3*>& vCorners);
    TriangleMesh flatten(VertexOrder order) const;
    // The same in the order of the mesh, without a copy; leaves nothing behind.
    TriangleMesh take() &&;

    // What every new mesh goes through, see RMesh::finishMesh(): no RMesh is made for
    // triangles that stay as they are. Progress children "RM_cpo" and "RM_kdeg".
    void finish();
    // The same where take() is the next call: an RMesh is made only if parts of one do not do.
    void finishToTake();
    void smooth(const SmoothingOptions& options);
    // Calls change with the mesh, vertices of no triangle included. It may change
    // positions and colours, nothing else.
    void changeVertices(const std::function<void(TriangleMesh&)>& change);

private:
    std::unique_ptr<RMesh> pRMesh;
    // While there is none:
    TriangleMesh flat;
    double cellSize = 0.0;
};

}  // namespace QUOR_ZEF
