#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "frame/Rand15.h"
#include "frame/types.h"
#include "grid/Bundle.h"
#include "parallel/parallelTransform.h"
#include "store/Adjacency.h"
#include "store/RecordPool.h"
#include "store/ScratchArray.h"
#include "topology/CEdge.h"
#include "topology/CTriangle.h"
#include "topology/CellMap.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

class Calc;
class CPatch;
class Progress;
class Voro;

// The mesh from first extraction to the end of repair. A vertex is a cell (CCD),
// and its position is the point of the cell's Bundle; a triangle may name a cell
// that has no Bundle yet. An edge may have any number of triangles.
//
// Orders, on which results rest: triangles stand in order of making, or as
// killDuplicateTriangles() left them; edges in the order of (v0, v1); the
// triangles at a vertex in order of making.
//
// Owner: the driver of the run, also of the CellMap, which must not be read
// after the mesh has gone, since the Bundles that addBundle() made go with it.
// One thread at a time. Functions that hand out lists append to them.
// Memory: about 170 bytes a triangle, edges and incidence included.
class CMesh {
public:
    // --- CMesh.cpp: storage and look-up ---

    // Borrows all three; pVoro is only kept for the reader.
    CMesh(Voro* pVoro, const Calc* pCalc, CellMap* pCells);
    ~CMesh();
    CMesh(const CMesh&) = delete;
    CMesh& operator=(const CMesh&) = delete;

    // Ends all patches, edges and triangles; the Bundles stay. Keeps its memory
    // for the next filling. O(vertices).
    void clear();

    // Two equal cells fail an ASSEX. A further triangle on the same three cells is
    // taken. About 0.2 microseconds.
    CTriangle* createT(uint64 v0, uint64 v1, uint64 v2, uint64 vcd, int config);
    // Makes this many triangles at once; the mesh must have none, else an ASSEX fails.
    // write(out) must call out(number, vertices, vcd, config) for every number from 0
    // on once, in any order and also side by side; vertices: three different cells
    // by their numbers in the CellMap. Then all is as if createT() had made them in
    // that order, but for the numbers of edges, and that the mesh's order of them is
    // that of killDuplicateTriangles(). Runs on all threads. pProgress: ticks once a vertex
    // after write has returned; may be null.
    class TriangleWriter;
    template <class Write>
    void createTriangles(std::uint32_t num, Write&& write, Progress* pProgress = nullptr);
    // For CTriangle::kill: takes pT out of the fans of its corners.
    void unregisterTriangle(const CTriangle* pT);

    // The edge on the two cells in either order, of any degree; null if none.
    CEdge* getEdge(uint64 a, uint64 b) const;
    // Edges of live triangles at the vertex, in the order of edges, which is that
    // of the codes of their other ends.
    void getIncidentEdges(uint64 vcd, std::vector<CEdge*>& vEdges) const;
    // Live triangles at the vertex in order of making.
    void getIncidentTriangles(uint64 vcd, std::vector<CTriangle*>& vT) const;
    // The same as numbers, without copying; valid until the next change here.
    std::span<const std::uint32_t> getFan(uint64 vcd) const;
    CTriangle* getTriangle(std::uint32_t number) const { return triangles[number]; }
    CEdge* getEdge(std::uint32_t number) const { return edges[number]; }
    // Records made since the last clear, dead ones included: sizes of arrays by number.
    std::uint32_t getNumTriangles() const { return triangles.size(); }
    std::uint32_t getNumEdges() const { return edges.size(); }

    // Live triangles in the mesh's order.
    void getAllTriangles(std::vector<CTriangle*>& vT) const;
    // Whether a comes before b in the mesh's order.
    bool isBefore(const CTriangle* a, const CTriangle* b) const;
    // Edges of any degree, in the order of edges. No sort of the whole; O(edges).
    void getAllEdges(std::vector<CEdge*>& vEdges) const;
    // The same, selected: deg above 0 exactly that degree, -1 above 2, -5 1 or
    // above 2, -99 above 0. Any other deg fails an ASSEX.
    void getDegN(int deg, std::vector<CEdge*>& vEdges) const;
    // The same by a rule: isWanted(const CEdge*) is asked once for each edge, on several
    // threads at a time.
    template <class IsWanted>
    void selectEdges(IsWanted&& isWanted, std::vector<CEdge*>& vEdges) const;
    // Calls f(CTriangle*) for each live triangle in the mesh's order. f may kill, but
    // makes no triangles.
    template <class F>
    void forEachTriangle(F&& f) const;
    // Appends the live triangles without a normal, in the mesh's order. On all threads.
    void getDegenerateTriangles(std::vector<CTriangle*>& vT) const;
    // By triangle number, in squared world units, 0 for the dead. On all threads.
    std::vector<double> getAreas() const;
    // The sum over all live triangles.
    double getTotalArea() const;

    // The position of a vertex. A cell without a Bundle fails an ASSEX. The
    // pointer stands until the Bundle dies.
    Point3* getVtx(uint64 vcd) const;
    Point3 getAvgPoint(uint64 vcd) const { return *getVtx(vcd); }

    CellMap* getCCDBundleMap() const { return pCells; }
    const Calc* getCalc() const { return pCalc; }
    double getCellSize() const;

    // --- CMesh_bundles.cpp: vertices in cells without a sample ---

    // Gives the cell a Bundle of the mesh's own, in place of one that it may have.
    // The position is (x, y, z), which must lie in the cell, else an ASSEX fails;
    // three times the largest finite double stands for the centre of the cell.
    // Then averageBundle().
    void addBundle(uint64 ccd, double x, double y, double z);
    // Moves the vertex next to the middle of its neighbours, of those without a
    // sample only where fewer than 3 have one; to the centre of its cell where
    // that leaves the cell. It loses its colour. Fewer than two edges: no change.
    void averageBundle(Bundle* pBundle);
    // In order of adding; after collapseExtraBundles() in order of code.
    void averageAllBundles();
    // Collapses each added vertex onto the first neighbour, in order of code,
    // that allows it. Where one does, the cell leaves the CellMap, and the Bundle
    // and its point are freed.
    void collapseExtraBundles();

    // --- CMesh_repair.cpp: local changes ---

    // False if src or trg has no triangle, or if the collapse would lay a
    // triangle onto one that trg has already.
    bool canCollapse(uint64 src, uint64 trg) const;
    // Moves the triangles at src to trg; those that hold both die. src and trg
    // must be the ends of the edge, else an ASSEX fails. False, and no change, if
    // the edge has no triangle or canCollapse() refuses.
    bool collapseEdgeToEndpoint(const CEdge* pCE, uint64 src, uint64 trg);
    // Moves the vertex towards the mean of its neighbours by at most 0.1 cells.
    // False, and no change, without neighbours or if a triangle would turn by more
    // than 90 degrees.
    bool laplacianForOne(uint64 vcd);
    // Of the live triangles on the same three cells, however oriented, the first
    // made stays. From then on the mesh's order of these triangles is that of
    // their sorted corners, then of making. Returns the number killed.
    // pProgress: ticks once a vertex; may be null.
    int killDuplicateTriangles(Progress* pProgress = nullptr);
    // Splits degenerate triangles into their neighbours; where that fails, tries
    // to move one of their corners.
    void splitDegenerateTriangles();

    // --- CMesh_patches.cpp ---

    // Divides the live triangles into patches: connected across edges of degree 2
    // that pBarrier (may be null) does not hold. Replaces and ends all patches of
    // the mesh, which owns the new ones too. Appends the new ones in order of
    // their first triangle; notes in mThird, for each corner opposite a
    // non-manifold edge, the patch that met it last; appends each such edge to
    // vFanEdges once per triangle. Linear in the triangles.
    void createPatches(std::set<CEdge*>* pBarrier, std::vector<CPatch*>& vNewPatches, std::map<uint64, CPatch*>& mThird,
                       std::vector<CEdge*>& vFanEdges);
    // The same without barrier and notes.
    void createPatches(std::vector<CPatch*>& vNewPatches);
    // A work array for patch operations, one entry a triangle number, all 0
    // between uses: whoever writes to it puts the zeros back.
    std::vector<std::uint8_t>& getScratchFlags();
    // 0, 1, 2 ... for the patches made on this mesh.
    int takePatchId() { return numPatchIds++; }

private:
    // A Bundle of the mesh's own, with its point.
    struct ExtraBundle : Bundle {
        Point3 point;
    };

    static constexpr std::size_t minVertices = 4096;  // a thread
    static void sortByFarEnd(CEdge** pFirst, CEdge** pEnd) {
        std::sort(pFirst, pEnd, [](const CEdge* a, const CEdge* b) { return a->v1 < b->v1; });
    }

    CEdge* findEdge(std::uint32_t numberA, uint64 a, std::uint32_t numberB, uint64 b) const;
    CEdge* makeEdge(std::uint32_t numberA, uint64 a, std::uint32_t numberB, uint64 b);
    void sortExtraBundles();
    void growForAll(std::uint32_t num);
    void fillFans(const std::array<std::uint32_t, 3>* pVertices);
    void fillEdges(const std::array<std::uint32_t, 3>* pVertices, Progress* pProgress);
    template <class Page>
    void makeEdges(const Page& page, std::uint32_t edge, std::vector<CEdge*>& vMany);
    std::vector<std::uint32_t> getVerticesInOrder() const;
    void endPatches();
    void endEdges();
    bool isExtra(uint64 ccd) const;
    bool movesTooFar(uint64 vcd, const Point3& target) const;
    // isBarrier(CEdge*) and noteFan(CPatch*, const CTriangle*, int ici, CEdge*) are asked on the way.
    template <class IsBarrier, class NoteFan>
    void dividePatches(std::vector<CPatch*>& vNewPatches, IsBarrier&& isBarrier, NoteFan&& noteFan);
    template <class IsBarrier, class NoteFan>
    void floodPatch(CPatch* pPatch, CTriangle* pSeed, IsBarrier&& isBarrier, NoteFan&& noteFan);

    Voro* pVoro;        // not owned
    const Calc* pCalc;  // not owned
    CellMap* pCells;    // not owned; its numbers are the vertex numbers of adjacency
    RecordPool<CTriangle> triangles;
    RecordPool<CEdge> edges;
    std::vector<CEdge*> vManyEdges;  // those with memory of their own
    Adjacency adjacency;
    std::vector<std::uint32_t> vOrder;  // live triangles in the order that killDuplicateTriangles() set
    std::uint32_t numOrdered = 0;       // triangles from this number on follow in order of making
    bool bUnique = false;               // those before it are on different cells each
    std::vector<std::unique_ptr<ExtraBundle>> vExtraBundles;
    std::vector<bool> vIsExtra;  // by vertex number: the cell's Bundle is one of vExtraBundles
    Rand15 rand;
    std::vector<std::unique_ptr<CPatch>> vPatches;
    int numPatchIds = 0;
    std::vector<CTriangle*> vStack;  // of createPatches, kept for its memory
    std::vector<std::uint8_t> vScratchFlags;
};

class CMesh::TriangleWriter {
public:
    TriangleWriter(CMesh* pMesh_, std::array<std::uint32_t, 3>* pVertices_) : pMesh(pMesh_), pVertices(pVertices_) {}
    void operator()(std::uint32_t number, const std::array<std::uint32_t, 3>& vertices, uint64 vcd, int config) const {
        const auto code = [&](std::size_t i) { return pMesh->pCells->getCode(vertices[i]); };
        pMesh->triangles.makeAt(number, code(0), code(1), code(2), vcd, config, number);
        pVertices[number] = vertices;
    }

private:
    CMesh* pMesh;
    std::array<std::uint32_t, 3>* pVertices;  // by triangle number
};

template <class Write>
void CMesh::createTriangles(std::uint32_t num, Write&& write, Progress* pProgress) {
    growForAll(num);
    const ScratchArray<std::array<std::uint32_t, 3>> vertices(num);
    write(TriangleWriter(this, vertices.data()));
    fillFans(vertices.data());
    fillEdges(vertices.data(), pProgress);
}

template <class F>
void CMesh::forEachTriangle(F&& f) const {
    for (const std::uint32_t number : vOrder)
        if (triangles[number]->isAlive()) f(triangles[number]);
    for (std::uint32_t number = numOrdered; number < triangles.size(); ++number)
        if (triangles[number]->isAlive()) f(triangles[number]);
}

template <class IsWanted>
void CMesh::selectEdges(IsWanted&& isWanted, std::vector<CEdge*>& vEdges) const {
    const std::vector<std::uint32_t> vVertices = getVerticesInOrder();
    const auto vParts = parallelChunkResults<std::vector<CEdge*>>(
        vVertices.size(), minVertices, [&](std::size_t begin, std::size_t end) {
            std::vector<CEdge*> vPart;
            for (std::size_t i = begin; i < end; ++i) {
                const std::size_t numBefore = vPart.size();
                for (const Adjacency::Link& link : adjacency.edges(vVertices[i]))
                    if (CEdge* pCE = edges[link.edge]; isWanted(pCE)) vPart.push_back(pCE);
                sortByFarEnd(vPart.data() + numBefore, vPart.data() + vPart.size());
            }
            return vPart;
        });
    for (const auto& vPart : vParts) vEdges.insert(vEdges.end(), vPart.begin(), vPart.end());
}

}  // namespace QUOR_ZEF
