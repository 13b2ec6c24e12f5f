#pragma once

#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

class Calc;
class CEdge;
class CMesh;
class CTriangle;

// A set of triangles of one CMesh, as a rule one that is connected across
// manifold edges; edges with three triangles and more are its seams.
//
// A triangle is a member while it points to this patch and is alive: a patch
// made later over the same triangles takes them over. Valid until the mesh
// changes without its knowledge. Owner: the CMesh for those of createPatches,
// otherwise the maker; it must end before its triangles do.
// One thread at a time.
class CPatch {
public:
    int id;                              // in order of making on this mesh
    std::vector<CTriangle*> vT;          // not owned; dead ones stay until kill()
    std::vector<CEdge*> vOuterBoundary;  // in the order of edges; see setOuterBoundary()
    bool bAlive = true;
    CMesh* pMesh;       // not owned
    const Calc* pCalc;  // not owned
    int mark = -1;      // free for the user; kill() sets it back

    CPatch(CMesh* pMesh_, const Calc* pCalc_);
    // Clears the patch of each triangle that still points here; kills none.
    ~CPatch();
    CPatch(const CPatch&) = delete;
    CPatch& operator=(const CPatch&) = delete;

    bool isAlive() const { return bAlive; }
    // Triangles ever added, dead ones included.
    std::size_t getSize() const { return vT.size(); }
    // Appends, and lets the triangle point here.
    void addTriangle(CTriangle* pT);
    bool isMember(const CTriangle* pT) const;

    // Fills vOuterBoundary with the edges of exactly one live member: borders of
    // the mesh, and seams that one member touches. A dead patch fails an ASSEX.
    // Linear, but for sorting the boundary.
    void setOuterBoundary();
    // True if at least 4 triangles were added and each edge of a live member has
    // at least two live members.
    bool isClosed() const;
    // Append: the edges of live members, and their corners, ascending, each once.
    void getEdges(std::vector<CEdge*>& vEdges) const;
    void getVertices(std::vector<uint64>& vCCD) const;
    // Of live members, in squared world units.
    double getArea() const;
    // Of live members, in cubed world units; positive for a closed body that is
    // oriented outward.
    double getVolume() const;

    // Kills all live members and forgets them.
    void kill();

    // Orients the members alike across edges of degree 2, then the whole patch by
    // orientPatch().
    void orientAll();
    // Flips all live members if the highest vertex of the patch (in grid z, lowest
    // code first) looks down: tops look upward and closed bodies outward.
    void orientPatch();

    // For a closed patch (ask isClosed() right before): separates a thin body,
    // which hangs on the rest of the surface, into its two sheets and kills one.
    // True if triangles were killed. A real volume, or a body without seams, is
    // left alone. What hangs on the inside of a sheet decides: a free sheet dies
    // before an attached one, otherwise the smaller dies; with bCareful nothing
    // dies where both are attached. Log-linear.
    bool splitClosedPatchKill(bool bCareful);

private:
    struct Sheets;

    bool isThick() const;
    CEdge* findStartEdge(CTriangle*& pCT0, CTriangle*& pCT1) const;
    void separate(CEdge* pStartME, CTriangle* pCT0, CTriangle* pCT1, Sheets& sheets);
    int countAttached(const std::vector<CTriangle*>& vSheet) const;
};

}  // namespace QUOR_ZEF
