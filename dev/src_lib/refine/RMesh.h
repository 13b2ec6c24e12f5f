#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "frame/Rand15.h"
#include "refine/REdge.h"
#include "refine/RPatch.h"
#include "refine/RTriangle.h"
#include "refine/VertexMap.h"
#include "store/Adjacency.h"
#include "store/RecordPool.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

class CMesh;
class Progress;

// The mesh behind every result: vertices with positions, edges and triangles
// that point at each other. An edge may have any number of triangles.
//
// All vertices are made by the constructor, in one block: a vertex's number is
// its place in the block, so that number and address give one order. Edges and
// triangles are numbered as they are made. "In order" below means by number; the
// order of edges as a whole is that of (number of p0, number of p1).
//
// Vertices, edges and triangles are the mesh's and keep their addresses for its
// life. A dead triangle, and an edge without triangles, stays as a record; its
// number is not given again. Only dropDeadRecords() and edgeFlipsSimA() end this
// for edges and triangles.
//
// Functions that hand out lists append to them. One thread at a time; const
// functions but hasVertexAt() may run on several threads while none changes it.
// Memory: about 245 bytes a triangle, edges, vertices and look-up included; each
// triangle made later 100, each edge 50.
class RMesh {
public:
    // World units: the edge of a grid cell along x. Whatever must be small against
    // the mesh is a fraction of it.
    double cellSize;

    // --- RMesh.cpp: making and look-up ---

    // Copies vertices and live triangles; pCM can go afterwards. The vertices are
    // the cells with a Bundle, in order of code, with colour; a triangle with a
    // cell without Bundle fails an ASSEX, as does a NaN coordinate. Too many
    // triangles: see checkMeshSize(). About 0.3 microseconds a triangle.
    explicit RMesh(CMesh* pCM);
    // From vertices and three indices a triangle. Triangles that repeat an index
    // are left out and counted. An index out of range, or a number of indices that
    // three does not divide, fails an ASSEX. cellSize_: about the length of an edge.
    RMesh(std::vector<Point3> vVertices_, const std::vector<std::uint32_t>& vTriples, double cellSize_);
    ~RMesh();
    RMesh(const RMesh&) = delete;
    RMesh& operator=(const RMesh&) = delete;

    // Triples left out by the constructor since they repeated an index.
    std::size_t getNumSkippedTriples() const { return numSkippedTriples; }

    // Two equal corners fail an ASSEX. A further triangle on the same three
    // vertices is taken; an edge that had lost its triangles comes back.
    RTriangle* createT(Point3* a, Point3* b, Point3* c);
    // For RTriangle::kill: takes pRT out of the fans of its corners.
    void unregisterTriangle(const RTriangle* pRT);

    // Records ever made, dead ones included: sizes of arrays by number.
    std::uint32_t getNumVertices() const { return static_cast<std::uint32_t>(vVertices.size()); }
    std::uint32_t getNumTriangles() const { return triangles.size(); }
    std::uint32_t getNumEdges() const { return edges.size(); }
    // p: a vertex of this mesh. One subtraction.
    std::uint32_t getVertexNumber(const Point3* p) const { return static_cast<std::uint32_t>(p - pFirstVertex); }
    Point3* getVertex(std::uint32_t number) const { return pFirstVertex + number; }
    RTriangle* getTriangle(std::uint32_t number) const { return triangles[number]; }
    REdge* getEdge(std::uint32_t number) const { return edges[number]; }

    // The edge of the two vertices in either order, dead or alive; null if none.
    // Linear in the edges of the lower vertex.
    REdge* findEdge(const Point3* a, const Point3* b) const;
    bool hasLiveEdge(const Point3* a, const Point3* b) const;
    // Numbers of the live triangles at the vertex, in order of coming: a triangle
    // that exchangeCorner() has brought comes last. Valid until the next change here.
    std::span<const std::uint32_t> getFan(const Point3* p) const { return adjacency.fan(getVertexNumber(p)); }
    // The same as records.
    void getIncidentTriangles(const Point3* p, std::vector<RTriangle*>& vT) const;
    // Edges of live triangles at the vertex, in order.
    void getIncidentEdges(const Point3* p, std::vector<REdge*>& vRE) const;

    // Live triangles in order.
    void getLiveTriangles(std::vector<RTriangle*>& vT) const;
    std::size_t getNumLiveTriangles() const { return numLiveTriangles; }
    // Three corners of each live triangle, in order.
    void getCorners(std::vector<Point3*>& vCorners) const;
    // The vertices of live triangles, in order. vP not empty fails an ASSEX.
    void getPoints(std::vector<Point3*>& vP) const;
    // All edges by number, dead ones included.
    void getAllEdges(std::vector<REdge*>& vRE) const;
    // Edges in the order of edges, by degree: n of 0 or more exactly that degree,
    // -1 above 2, -99 above 0; any other n fails an ASSEX. Degree 0 are edges that
    // can come back, not those that a collapse has merged into others.
    void getDegN(int n, std::vector<REdge*>& vRE) const;

    // Mean over the live edges, in world units; -1 if there is none.
    double getAvgEdgeLength() const;
    // True if a vertex of a live triangle has colour.
    bool hasColor() const;
    // Number of triangles, and edges of each degree, on standard output.
    void printStatistics(const std::string& name) const;

    // --- RMesh_vertices.cpp: positions ---

    // Whether any vertex, in use or not, has this position. The first call, and
    // the first after setVertices(), takes O(vertices).
    bool hasVertexAt(const Point3& p) const;
    // Moves a vertex; it keeps its colour, its triangles forget their normals. The
    // position that it has, or one that is taken, fails an ASSEX.
    void updateVertex(Point3* pVtx, const Point3& newPoint);
    // Replaces colours and positions: one point for each vertex, in order. Where any
    // position changes, triangles forget their normals, and hasVertexAt() reads all
    // of them again. O(n).
    void setVertices(const std::vector<Point3>& vNew);
    // Moves a vertex towards the middle of its neighbours, by 0.1 cells or a little
    // more, to a position that is free. False, and no change, without neighbours,
    // if a triangle would turn by more than 170 degrees, or if no free position is
    // found. Prints at most one line of each kind.
    bool relaxVertex(Point3* pVtx);
    // Starts the draws of relaxVertex() anew. For each entry that may come to it,
    // so that the result does not depend on what ran before.
    void reseed() { rand = Rand15(); }

    // --- RMesh_collapse.cpp ---

    // The collapse: moves all triangles at pSrc to pTrg; those at both die. pSrc
    // stays as a vertex without triangles. The two need no common edge; one that
    // is dead fails an ASSEX. Triangles may come to lie on one another.
    // Linear in the triangles at pSrc, times their edges' look-up.
    void exchangeCorner(Point3* pSrc, Point3* pTrg);
    // Removes triangles with an angle at corner 0 below 0.01 or above 179.99
    // degrees, or without one, by the collapse around them that turns the other
    // triangles least; then killDuplicateTriangles(). A needle with its small angle
    // at another corner stays. Progress child "RM_kdeg".
    void killDegenerate();
    // Of triangles on the same three vertices, however oriented, those die that
    // come later at one of the edges; if two edges disagree, both do.
    void killDuplicateTriangles();
    // What every new mesh goes through: killDuplicateTriangles(), orientPatches(),
    // killDegenerate(). Needs the progress children of the latter two.
    void finishMesh();

    // --- RMesh_flips.cpp ---

    // One pass of flips, the best first, each edge at most once; then
    // killDegenerate(). An edge flips where that bends the surface less, or as much
    // as before: a flat mesh changes at every call. Number of vertices stays, and so
    // do borders and topology, but for what killDegenerate() does. Returns the flips.
    // Progress children "RM_gEfCandMT", "efLoop" and "RM_kdeg". Scores on all threads,
    // flips on one; about 2 microseconds an edge.
    std::size_t edgeFlips();
    // edgeFlips(), then flips by simulated annealing, then edgeFlips(): creases
    // that no single flip would improve come straight. Repeats itself exactly.
    // Drops dead records whenever they are more than the live ones, so it takes at
    // most some three times the memory of the mesh. Progress children in addition:
    // getCandidateStage() of each temperature.
    void edgeFlipsSimA();
    // The temperatures of the annealing, falling, in units of energy.
    static std::vector<double> getAnnealingSchedule();
    // The progress child of scoring at a temperature; 0 stands for plain flips.
    static std::string getCandidateStage(double temperature);
    // That of the flips at a temperature; a plan may lack it.
    static std::string getAnnealingStage(double temperature);

    // The edges of vInRE that a flip improves by minEnergy or does not worsen, each
    // with its energy; see REdgeEnergy. A temperature above 0 adds worse ones, with
    // the probability exp(energy / temperature). Best first, equal ones by number; with
    // a temperature in the order of vInRE. vImpRE not empty fails an ASSEX.
    // Before scoring, triangles that lie the wrong way round are turned and opposite
    // corners at one position moved apart, as in REdgeEnergy::compute().
    void getEdgeFlipCandidates_MT(const std::vector<REdge*>& vInRE, double minEnergy, double temperature,
                                  std::vector<std::pair<double, REdge*>>& vImpRE);

    // --- RMesh_reduce.cpp ---

    // Removes triangles by collapses of edges onto one of their ends, the cheapest
    // first, until none is left that is allowed; so what remains are vertices of
    // before, unmoved. Allowed are edges of at most that squared length, if no
    // triangle turns by more than the degrees, if the ends do not differ visibly in
    // colour, and if the outline stays: a vertex at the border leaves along a
    // straight run of it only. Every collapse is measured against the mesh as it is
    // by then, so many of them may add up. Returns the triangles removed.
    // Progress children "RM_redborder", "RM_redprioq", "RM_redprocprioq".
    // Scores on all threads, collapses on one; some 10 microseconds a triangle removed.
    int reduce(double maxSqEdgeLength, double maxDeviationDeg);
    // What reduce() orders by: the mean turn of the triangles that stay, the length
    // of the edge and the step in colour. dir 0: p0 goes to p1; 1: the other way.
    // RECandidate::refused if not allowed (but for the border), no number if no
    // triangle that stays has an area now. May run on several threads.
    double getCollapseCost(const REdge* pRE, int dir, double maxSq, double maxDevRad) const;

    // --- RMesh_records.cpp ---

    // Gives the places of dead triangles and edges free. The others keep their order,
    // also in fans and edges, but move: their addresses and numbers are new. About
    // 0.3 microseconds a triangle, and 140 bytes while it runs.
    void dropDeadRecords();

    // --- RMesh_patches.cpp ---

    // Orients each component like its first triangle. Only edges of degree 2
    // connect; on a one-sided surface one seam stays. Replaces all patches.
    // Progress child "RM_cpo". Linear.
    void orientPatches();
    // In order of their first triangles. They stand until the next orientPatches().
    std::uint32_t getNumPatches() const { return patches.size(); }
    RPatch* getPatch(std::uint32_t number) const { return patches[number]; }

private:
    class Reduction;

    // Without vertices. The other constructors start here, so that the destructor
    // runs for one that fails half way.
    explicit RMesh(double cellSize_) : cellSize(cellSize_) {}
    void startVertices();

    // Calls f(pRT) for each live triangle in order.
    template <class F>
    void forEachTriangle(F&& f) const {
        for (std::uint32_t i = 0; i < triangles.size(); ++i)
            if (triangles[i]->isAlive()) f(triangles[i]);
    }
    REdge* makeEdge(Point3* a, Point3* b);
    void checkIn(REdge* pRE, RTriangle* pRT);

    void killBetween(const Point3* pSrc, const Point3* pTrg);
    void collectEdgesToMove(const Point3* pSrc, const Point3* pTrg);
    void moveEdge(REdge* pRE, const Point3* pSrc, Point3* pTrg);
    void mergeEdge(REdge* pRE, REdge* pExistingRE);
    REdge* findBestCollapse(const RTriangle* pRT, Point3*& pBestSrc) const;
    Point3* collapseDegenerate(const RTriangle* pRT);

    void floodPatch(RTriangle* pSeed, RPatch* pPatch, std::deque<RTriangle*>& queue, Progress* pProgress);
    bool findFreeTarget(const Point3* pVtx, Point3& target);

    std::uint32_t drawSeed();
    void prepareScoring(const std::vector<REdge*>& vInRE);
    void fillNormals();
    std::vector<double> findBendCosts() const;
    void getEdgeFlipCandidates_MT_priv(const std::vector<REdge*>& vInRE, const std::vector<double>& vBendCosts,
                                       double minEnergy, double temperature, std::uint32_t seed, std::size_t from,
                                       std::size_t to, std::vector<std::pair<double, REdge*>>& vImpRE);
    std::size_t flipBestFirst(const std::vector<std::pair<double, REdge*>>& vImpRE, Progress* pProgress);
    static void fetchTriangles(const REdge* pRE);
    static void fetchCorners(const REdge* pRE);
    static void fetchNeighbours(const REdge* pRE);
    void fetchFlip(const std::vector<std::pair<double, REdge*>>& vImpRE, std::size_t i) const;
    void anneal(double temperature);

    std::vector<Point3> vVertices;   // never resized after the constructor
    Point3* pFirstVertex = nullptr;  // of vVertices
    RecordPool<RTriangle> triangles;
    RecordPool<REdge> edges;
    std::vector<REdge*> vManyEdges;  // those with memory of their own
    Adjacency adjacency;
    std::size_t numLiveTriangles = 0;
    std::size_t numSkippedTriples = 0;
    RecordPool<RPatch> patches;
    mutable VertexMap vertexMap;  // built on first use
    Rand15 rand;
    std::vector<RTriangle*> vMoved;   // of exchangeCorner, kept for its memory
    std::vector<REdge*> vMovedEdges;  // likewise
};

}  // namespace QUOR_ZEF
