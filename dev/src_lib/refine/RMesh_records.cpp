#include <utility>

#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

// What a live triangle takes along; edges by their new numbers.
struct TriangleCopy {
    Point3* corner[3];
    std::uint32_t edge[3];
    Vector3 normal;
    RPatch* pPatch;
    bool bVisited;
};

struct EdgeCopy {
    Point3 *p0, *p1;
    std::uint32_t numTriangles;
};

// New numbers for the live ones of num records, in order.
template <class IsAlive>
std::vector<std::uint32_t> renumber(std::uint32_t num, const IsAlive& isAlive) {
    std::vector<std::uint32_t> vNew(num, Adjacency::none);
    std::uint32_t next = 0;
    for (std::uint32_t i = 0; i < num; ++i)
        if (isAlive(i)) vNew[i] = next++;
    return vNew;
}

}  // namespace

void RMesh::dropDeadRecords() {
    const auto vNewT = renumber(triangles.size(), [&](std::uint32_t i) { return triangles[i]->isAlive(); });
    const auto vNewE = renumber(edges.size(), [&](std::uint32_t i) { return edges[i]->isAlive(); });
    std::vector<TriangleCopy> vT;
    vT.reserve(numLiveTriangles);
    forEachTriangle([&](const RTriangle* pRT) {
        vT.push_back({{}, {}, pRT->normal, pRT->pPatch, pRT->bVisited});
        for (int i = 0; i < 3; ++i) {
            vT.back().corner[i] = pRT->corner[i];
            vT.back().edge[i] = vNewE[pRT->pRE[i]->getNumber()];
        }
    });
    std::vector<EdgeCopy> vE;
    std::vector<std::uint32_t> vEdgeT, vFanT;  // triangles edge by edge, and vertex by vertex
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const auto view = edges[i]->triangles();
        if (view.empty()) continue;
        vE.push_back({edges[i]->p0, edges[i]->p1, static_cast<std::uint32_t>(view.size())});
        for (const RTriangle* pRT : view) vEdgeT.push_back(vNewT[pRT->getNumber()]);
    }
    std::vector<std::uint32_t> vFanSize(getNumVertices());
    for (std::uint32_t vertex = 0; vertex < getNumVertices(); ++vertex) {
        vFanSize[vertex] = static_cast<std::uint32_t>(adjacency.fan(vertex).size());
        for (const std::uint32_t number : adjacency.fan(vertex)) vFanT.push_back(vNewT[number]);
    }

    for (REdge* pRE : vManyEdges) pRE->~REdge();
    vManyEdges.clear();
    triangles.reset();
    edges.reset();
    adjacency.reset(getNumVertices());
    for (const TriangleCopy& copy : vT) {
        RTriangle* pRT = triangles.make(copy.corner[0], copy.corner[1], copy.corner[2], triangles.size());
        pRT->normal = copy.normal;
        pRT->pPatch = copy.pPatch;
        pRT->bVisited = copy.bVisited;
    }
    std::size_t next = 0;
    for (const EdgeCopy& copy : vE) {
        REdge* pRE = edges.make(copy.p0, copy.p1, edges.size());
        adjacency.addEdge(getVertexNumber(copy.p0), getVertexNumber(copy.p1), pRE->getNumber());
        for (std::uint32_t i = 0; i < copy.numTriangles; ++i) checkIn(pRE, triangles[vEdgeT[next++]]);
    }
    for (std::uint32_t number = 0; number < triangles.size(); ++number)
        for (int i = 0; i < 3; ++i) triangles[number]->pRE[i] = edges[vT[number].edge[i]];
    next = 0;
    for (std::uint32_t vertex = 0; vertex < getNumVertices(); ++vertex)
        for (std::uint32_t i = 0; i < vFanSize[vertex]; ++i) adjacency.addToFan(vertex, vFanT[next++]);
}

}  // namespace QUOR_ZEF
