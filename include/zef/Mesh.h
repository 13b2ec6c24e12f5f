#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "zef/Point3.h"
#include "zef/TriangleMesh.h"
#include "zef/export.h"

namespace QUOR_ZEF {

class MeshBody;
class RMesh;

// A triangle mesh: vertices with optional colour, and triangles whose order of
// corners is their orientation, counter-clockwise seen from outside.
//
// The points that a mesh hands out are its own: they die with it, and any
// operation that changes the mesh makes earlier lists and indices meaningless.
// One thread at a time; not copyable, shared through std::shared_ptr.
class ZEF_API Mesh {
public:
    // Takes ownership; never null.
    explicit Mesh(RMesh* pRMesh_);
    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    // From plain arrays, which are moved in, and back: the vertices of triangles in the
    // mesh's order. fromTriangles() throws an ArgumentError for a number of indices that
    // three does not divide and for an index that means no vertex, and leaves out
    // triangles that repeat one.
    static std::shared_ptr<Mesh> fromTriangles(TriangleMesh triangles);
    TriangleMesh toTriangles() const;

    // Of all edges, in world units; -1 for a mesh without triangles.
    double getAverageEdgeLength() const;
    std::size_t getNumT() const;
    // The vertices of triangles, in the mesh's order. Clears vPoints first. O(n).
    void getPoints(std::vector<Point3*>& vPoints) const;
    // Three corners of each triangle. Clears vCorners first. O(n).
    void getTriangles(std::vector<Point3*>& vCorners) const;
    // vVertices as from getPoints(); vIndices: three indices into it for each
    // triangle, in the order of getTriangles(). Clears both first. More than 2^31 - 1
    // vertices show an error and throw a ZefBugException. O(n).
    void getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) const;

    // Gives vertices without colour the mean colour of their neighbours, ring by ring
    // from those that have one; a component without any stays without. O(n).
    void colorizeFilledHoles();
    // Stretches the colours, all channels alike: these fractions of the channels of
    // all vertices, dark and bright, are clipped (none if the colours span 20 steps or
    // fewer), and the rest then spans 0 to 255. One single value stays. O(n).
    void contrastSpread(double lowFraction, double highFraction);

    // Triangles, and edges by number of triangles, on standard output.
    void printStatistics(const std::string& name) const;

    // Each of the writers gives false, with a message, if the file cannot be
    // written; what stood under the name is then untouched. PLY has coordinates
    // narrowed to float, and four bytes of colour for every vertex, whether it has
    // a colour or not.
    //
    // The two names for PLY stand the wrong way round, and callers rely on that:
    // writePly_ASCII writes the binary form, writePly_BIN the text form.
    bool writePly_ASCII(const std::string& name) const;
    bool writePly_BIN(const std::string& name) const;
    // STL as text with 10 significant digits; no colour.
    bool writeStl_ASCII(const std::string& name) const;
    // A Geomview LIST with one object, coloured if any vertex is.
    bool writeGeomview_ASCII(const std::string& name) const;

    // For the library's own entries: the inside of the mesh, still owned by it.
    RMesh* getRMesh();
    const RMesh* getRMesh() const;
    // For the library's own entries: destroys the inside and takes another one.
    void replaceRMesh(RMesh* pOther);
    // For the library's own entries: what holds that inside, or makes it when it is
    // asked for.
    explicit Mesh(std::unique_ptr<MeshBody> pBody_);
    MeshBody& getBody() { return *pBody; }
    const MeshBody& getBody() const { return *pBody; }
    // For the library's own entries: toTriangles() without a copy; leaves no mesh behind.
    TriangleMesh releaseTriangles();
    void replaceBody(std::unique_ptr<MeshBody> pOther);

private:
    std::unique_ptr<MeshBody> pBody;  // never null
};

}  // namespace QUOR_ZEF
