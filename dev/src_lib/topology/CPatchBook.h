#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

class CEdge;
class CMesh;
class CTriangle;

// The division of a mesh into patches, kept up while triangles die.
//
// A patch is what CMesh::createPatches() makes: live triangles that hang together
// across edges of degree 2. Here it is a number, not an object, and after some
// kills only what they have touched is looked at again: patches that have come
// together are merged, the smaller into the larger, and those that lost some of
// their triangles are divided anew. All answers are those of a fresh division: that by
// createPatches(), with CPatch::setOuterBoundary(), is the reference form of this one.
//
// Borrows the mesh, which must neither make triangles nor start anew meanwhile.
// One thread at a time. Making it takes about 0.1 microseconds a triangle, all
// merging together O(n log n), unless edges have very many triangles.
// Memory: 8 bytes a triangle, 16 once areas are asked for, 48 a patch and 8 a boundary edge.
class CPatchBook {
public:
    using Patch = std::uint32_t;

    explicit CPatchBook(const CMesh* pMesh);

    // The live patches; of a fresh book they are in the order of their first triangles.
    std::vector<Patch> getPatches() const;
    // After the triangles of vDead, each named once, have been killed. Replaces
    // vTouched by the patches that lost one of them or meet one at an edge, as they
    // are now, each once.
    void renew(const std::vector<CTriangle*>& vDead, std::vector<Patch>& vTouched);

    // Whether a patch's first triangle comes before the other's.
    bool isBefore(Patch a, Patch b) const;
    std::size_t getSize(Patch patch) const { return vRecords[patch].size; }
    // Whether some edge has exactly one triangle of the patch.
    bool hasBoundary(Patch patch) const { return vRecords[patch].numBoundary != 0; }
    // In squared world units, of a patch and of all together. The first call looks at
    // all triangles, later ones at what has come to the patch since the last.
    double getArea(Patch patch);
    double getTotalArea();
    // Appends the triangles in the order of a flood from the first one.
    void getTriangles(Patch patch, std::vector<CTriangle*>& vT);
    // Appends the edges with exactly one triangle of the patch, in the order of edges.
    void getBoundary(Patch patch, std::vector<CEdge*>& vEdges) const;
    // Replaces vSame by all patches with the boundary of this one, itself included,
    // in the order of their first triangles; by none if it has no boundary. O(1) but
    // for the triangles at one edge, since it compares sums of hashes.
    void getSameBoundary(Patch patch, std::vector<Patch>& vSame);
    // Whether these edges, each named once, are the patch's boundary: what equal sums
    // of hashes leave open.
    bool isBoundary(Patch patch, const std::vector<CEdge*>& vEdges) const;

private:
    static constexpr std::uint32_t none = 0xffffffffu;

    // The triangles of a patch form a ring through vNext.
    struct Record {
        std::uint32_t first;              // number of the first triangle, in the mesh's order
        std::uint32_t last;               // of the last triangle of the ring
        std::uint32_t size = 0;           // 0: the patch is no more
        std::uint32_t numBoundary = 0;    // edges with exactly one member
        uint64 boundaryHash = 0;          // the sum of their hashes
        std::uint32_t candidates = none;  // list in vCandidates: the boundary, and edges that have left it
        std::optional<double> area;

        explicit Record(std::uint32_t first_) : first(first_), last(first_) {}
    };
    struct Candidate {
        std::uint32_t edge, next;
    };

    template <class OnTriangle, class OnSeam>
    void flood(CTriangle* pSeed, Patch from, Patch to, OnTriangle&& onTriangle, OnSeam&& onSeam);
    void makePatch(CTriangle* pFirst);
    void append(Record& record, std::uint32_t number);
    void dissolve(Patch patch, std::vector<CTriangle*>& vOpen);
    void merge(Patch a, Patch b);
    void addToBoundary(Record& record, const CEdge* pCE);
    static void removeFromBoundary(Record& record, const CEdge* pCE);
    int countMembers(Patch patch, const CEdge* pCE) const;
    void computeAreas();
    const CEdge* findBoundaryEdge(Patch patch);
    template <class F>
    void forEachMember(Patch patch, F&& f) const;

    const CMesh* pMesh;                // not owned
    std::vector<Record> vRecords;      // by patch
    std::vector<Patch> vPatchOf;       // by triangle number
    std::vector<std::uint32_t> vNext;  // by triangle number
    std::vector<Candidate> vCandidates;
    std::vector<double> vAreas;        // by triangle number; empty until an area is asked for
    std::optional<double> totalArea;   // of what is alive, once it was asked for
    std::vector<CTriangle*> vStack;    // of floods, kept for its memory
    std::vector<const CEdge*> vSeams;  // those met while patches are made, kept for its memory
};

}  // namespace QUOR_ZEF
