#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "repair/Rotx.h"

namespace QUOR_ZEF {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;
class Calc;
class Progress;
class Voro;

// Removes from a freshly extracted mesh what a surface must not have: crossing
// diagonals, flat triangles, membranes and double walls, dangling triangles,
// fringes at borders. Kills, splits and makes triangles; one step changes the
// cells and extracts anew, which ends all triangles, edges and patches.
//
// The result need not be manifold: what no step reaches stays. Between
// non-manifold edges it is oriented (run() only).
// Walks go by code or order of making, so the same mesh gives the same result.
// Needs the progress children "TP_unif", "TP_pps", "TP_cbcpl", "TP_itr", "TP_fin".
// One thread at a time. O(n log n) for one pass of each step.
class Top {
public:
    CMesh* pMesh;       // not owned
    const Calc* pCalc;  // not owned

    // --- Top.cpp: the two pipelines ---

    Top(CMesh* pMesh_, const Calc* pCalc_);
    // The rotational order of cells around axes; built at the first call.
    const Rotx& getRotx();
    // The largest pieces with much border that are removed, in triangles.
    struct Fringes {
        int early = 40, final = 100;
    };
    // For a reconstruction; pVoro made the mesh and keeps it (not owned). A closed
    // mesh without non-manifold edges that comes out of it is not changed by another run.
    void run(Voro* pVoro, const Fringes& fringes);
    void run(Voro* pVoro) { run(pVoro, {}); }
    // For re-meshing; without orientation.
    void runMelt(Voro* pVoro);

    // --- Top_flat.cpp: triangles without a normal, vertices at one place ---

    // Splits each degenerate triangle into its neighbours along its longest edge,
    // or moves one of its corners; one that allows neither stays, with a warning.
    void killDegenerate();
    // Moves vertices at equal positions apart, by less than 0.01 cells per draw;
    // those lose their colour. One sort.
    void separateEqualVertices();

    // --- Top_diagonals.cpp ---

    // Where a flat quad carries triangles on both diagonals, the two on the
    // diagonal of degree 2 give way, and the other diagonal gets what it lacks.
    void unifyDiagonals();

    // --- Top_borders.cpp ---

    // Kills triangles with one border edge and two of degree 3 or more; appends
    // the other border edges, in the order of edges.
    void getBordersKillDeg1nn(std::vector<CEdge*>& vBorder);
    // pCE: one that was a border edge. Kills its triangle if it is isolated, or if
    // it hangs on a single, non-manifold edge; then its free corner goes into the
    // other triangles there if they allow it. Otherwise nothing happens.
    void integrateCCD(CEdge* pCE);
    // Kills pieces, bounded by borders and non-manifold edges, of at most limit
    // triangles if they are tiny or have much border.
    void killTinyBorderPatches(int limit);

    // --- Top_cells.cpp ---

    // Proposes grid corners at borders and at edges of degree 4 for a change of
    // cells and extracts anew. All triangles, edges and patches end.
    void cbsComplete(Voro* pVoro);

    // --- Top_patches.cpp: double walls and thin bodies ---

    // Passes of processPatches() until one changes nothing, and ticks after each that
    // did; pProgress may be null. A later pass looks only at what the one before has
    // touched, so that all passes together take O(n log n) but for closed patches,
    // which are looked at as a whole each time that they are touched.
    void repeatProcessPatches(bool bCareful, Progress* pProgress);
    // Sorts vClosed by size. True if triangles were killed; see processPatches().
    bool treatClosedPatches(std::vector<CPatch*>& vClosed, bool bCareful);

    // The reference form of the above: the three that follow say what a pass of
    // repeatProcessPatches() does, over a division that is made anew each time.

    // One pass over the patches of the mesh: of two with the same boundary one
    // goes, of a thin closed body one sheet. True if triangles were killed, but
    // for those of closed bodies of up to 6 triangles that stand alone.
    // bCareful: see CPatch::splitClosedPatchKill.
    bool processPatches(bool bCareful);
    // Fills the boundaries. Appends pairs of patches with equal boundaries, in
    // the order of boundaries, then of making (the middle one of three stands in
    // two pairs); patches without a boundary; all others.
    void classifyPatches(const std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vTwins,
                         std::vector<CPatch*>& vClosed, std::vector<CPatch*>& vOpen);
    // Kills the one with fewer triangles, the second if they are equal, unless one
    // has 21 or more and both make up more than a tenth of totalArea. True if killed.
    bool killTwinPatch(CPatch* pPatch0, CPatch* pPatch1, double totalArea);

    // --- Top_orient.cpp ---

    // Divides the triangles of vT, all live ones of the mesh, into patches across
    // edges of degree 2 and orients each alike, its interior before its rim. The
    // caller owns the patches; vPatches must be empty, else an ASSEX fails.
    void createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches);

    // --- Top_evil.cpp: edges of degree 3 where a border ends ---

    // Kills, at each edge of degree 3 with a single border edge at one of its
    // ends, the triangle that the surface misses least.
    void removeEvilDeg3();
    // Kills at an edge of degree 3, for each end with a single border edge, the
    // triangle there; appends the edges that have degree 3 by this. True if killed.
    bool deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vOut);

private:
    std::optional<Rotx> rotx;

    void removeCrossingsAndFlats();
    void removeFringes(int largest);
    void orientAndFinish(int largestFringe);
    void orientTriangles(Progress* pProgress);
    bool moveACorner(const CTriangle* pT, int firstICI);
    void unifyDiagonal(const CEdge* pCE);
    void removeIfFlat(CTriangle* pT);
    void unravelEvilDeg3(std::vector<CEdge*> vWork);
};

}  // namespace QUOR_ZEF
