#include "refine/RMesh.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "frame/tools.h"
#include "refine/flatten.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

void RMesh::startVertices() {
    pFirstVertex = vVertices.data();
    adjacency.reset(vVertices.size());
}

RMesh::RMesh(CMesh* pCM) : RMesh(pCM->getCellSize()) {
    TriangleMesh flat = flatten(*pCM);
    vVertices = std::move(flat.vertices);
    startVertices();
    for (std::size_t i = 0; i < flat.indices.size(); i += 3)
        createT(&vVertices[flat.indices[i]], &vVertices[flat.indices[i + 1]], &vVertices[flat.indices[i + 2]]);
}

RMesh::RMesh(std::vector<Point3> vVertices_, const std::vector<std::uint32_t>& vTriples, double cellSize_)
    : RMesh(cellSize_) {
    ASSEX(vTriples.size()%3==0);
    checkMeshSize(vVertices_.size(), vTriples.size() / 3);
    vVertices = std::move(vVertices_);
    startVertices();
    for (std::size_t i = 0; i < vTriples.size(); i += 3) {
        const std::uint32_t a = vTriples[i], b = vTriples[i + 1], c = vTriples[i + 2];
        ASSEX(a<vVertices.size() && b<vVertices.size() && c<vVertices.size());
        if (a == b || b == c || c == a) {
            ++numSkippedTriples;
        } else {
            createT(&vVertices[a], &vVertices[b], &vVertices[c]);
        }
    }
}

// Only edges that ever had more than two triangles hold memory.
RMesh::~RMesh() {
    for (REdge* pRE : vManyEdges) pRE->~REdge();
}

RTriangle* RMesh::createT(Point3* a, Point3* b, Point3* c) {
    const auto pair0 = std::minmax(a, b), pair1 = std::minmax(b, c), pair2 = std::minmax(c, a);
    ASSEX(pair0.first<pair0.second);
    ASSEX(pair1.first<pair1.second);
    ASSEX(pair2.first<pair2.second);
    const std::uint32_t number = triangles.size();
    ASSEX(number<Adjacency::none);
    RTriangle* pRT = triangles.make(a, b, c, number);
    ++numLiveTriangles;
    for (const Point3* p : {a, b, c}) adjacency.addToFan(getVertexNumber(p), number);
    pRT->pRE[2] = makeEdge(a, b);
    pRT->pRE[0] = makeEdge(b, c);
    pRT->pRE[1] = makeEdge(c, a);
    for (REdge* pRE : {pRT->pRE[2], pRT->pRE[0], pRT->pRE[1]}) checkIn(pRE, pRT);
    return pRT;
}

REdge* RMesh::findEdge(const Point3* a, const Point3* b) const {
    const auto key = std::minmax(a, b);
    const std::uint32_t edge = adjacency.findEdge(getVertexNumber(key.first), getVertexNumber(key.second));
    return edge == Adjacency::none ? nullptr : edges[edge];
}

REdge* RMesh::makeEdge(Point3* a, Point3* b) {
    if (REdge* pKnown = findEdge(a, b)) return pKnown;
    const auto key = std::minmax(a, b);
    const std::uint32_t number = edges.size();
    ASSEX(number<Adjacency::none);
    adjacency.addEdge(getVertexNumber(key.first), getVertexNumber(key.second), number);
    return edges.make(key.first, key.second, number);
}

void RMesh::checkIn(REdge* pRE, RTriangle* pRT) {
    roomForOne(vManyEdges);
    if (pRE->checkIn(pRT)) vManyEdges.push_back(pRE);
}

void RMesh::unregisterTriangle(const RTriangle* pRT) {
    int numDelete = 0;
    for (const Point3* p : pRT->corner)
        if (adjacency.removeFromFan(getVertexNumber(p), pRT->number)) ++numDelete;
    ASSEX(numDelete==3);
    --numLiveTriangles;
}

bool RMesh::hasLiveEdge(const Point3* a, const Point3* b) const {
    const REdge* pRE = findEdge(a, b);
    return pRE && pRE->isAlive();
}

void RMesh::getIncidentTriangles(const Point3* p, std::vector<RTriangle*>& vT) const {
    for (const std::uint32_t number : getFan(p)) vT.push_back(triangles[number]);
}

void RMesh::getIncidentEdges(const Point3* p, std::vector<REdge*>& vRE) const {
    const auto numBefore = static_cast<std::ptrdiff_t>(vRE.size());
    for (const std::uint32_t number : getFan(p)) {
        const RTriangle* pRT = triangles[number];
        const int ici = pRT->getICI(p);
        vRE.push_back(pRT->getRE((ici + 1) % 3));
        vRE.push_back(pRT->getRE((ici + 2) % 3));
    }
    std::sort(vRE.begin() + numBefore, vRE.end(), edgeNumberLess);
    vRE.erase(std::unique(vRE.begin() + numBefore, vRE.end()), vRE.end());
}

void RMesh::getLiveTriangles(std::vector<RTriangle*>& vT) const {
    vT.reserve(vT.size() + numLiveTriangles);
    forEachTriangle([&](RTriangle* pRT) { vT.push_back(pRT); });
}

void RMesh::getCorners(std::vector<Point3*>& vCorners) const {
    vCorners.reserve(vCorners.size() + 3 * numLiveTriangles);
    forEachTriangle([&](const RTriangle* pRT) { vCorners.insert(vCorners.end(), pRT->corner, pRT->corner + 3); });
}

void RMesh::getPoints(std::vector<Point3*>& vP) const {
    ASSEX(vP.empty());
    for (std::uint32_t vertex = 0; vertex < getNumVertices(); ++vertex)
        if (!adjacency.fan(vertex).empty()) vP.push_back(getVertex(vertex));
}

void RMesh::getAllEdges(std::vector<REdge*>& vRE) const {
    vRE.reserve(vRE.size() + edges.size());
    for (std::uint32_t i = 0; i < edges.size(); ++i) vRE.push_back(edges[i]);
}

void RMesh::getDegN(int n, std::vector<REdge*>& vRE) const {
    if (n < 0 && n != -1 && n != -99) {
        showDetail("deg=", n);
        ASSEX(false);
    }
    std::vector<Adjacency::Link> vTaken;
    for (std::uint32_t vertex = 0; vertex < getNumVertices(); ++vertex) {
        vTaken.clear();
        for (const Adjacency::Link& link : adjacency.edges(vertex)) {
            const int degree = edges[link.edge]->getDegree();
            if (n >= 0 ? degree == n : n == -1 ? degree > 2 : degree > 0) vTaken.push_back(link);
        }
        std::sort(vTaken.begin(), vTaken.end(), [](const auto& a, const auto& b) { return a.other < b.other; });
        for (const Adjacency::Link& link : vTaken) vRE.push_back(edges[link.edge]);
    }
}

double RMesh::getAvgEdgeLength() const {
    double sum = 0.0;
    std::size_t num = 0;
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const REdge* pRE = edges[i];
        if (!pRE->isAlive()) continue;
        sum += (*pRE->p1 - *pRE->p0).length();
        ++num;
    }
    return num == 0 ? -1.0 : sum / static_cast<double>(num);
}

bool RMesh::hasColor() const {
    for (std::uint32_t vertex = 0; vertex < getNumVertices(); ++vertex)
        if (vVertices[vertex].hasColor() && !adjacency.fan(vertex).empty()) return true;
    return false;
}

void RMesh::printStatistics(const std::string& name) const {
    std::vector<std::size_t> vNumEdges;  // by degree
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const auto degree = static_cast<std::size_t>(edges[i]->getDegree());
        if (degree >= vNumEdges.size()) vNumEdges.resize(degree + 1);
        ++vNumEdges[degree];
    }
    std::cout << "\nRMesh::printStatistics(" << name << ")\n NumTriangles: " << numLiveTriangles << '\n';
    for (std::size_t degree = 1; degree < vNumEdges.size(); ++degree)
        if (vNumEdges[degree] > 0) std::cout << " Degree " << degree << ": " << vNumEdges[degree] << '\n';
    std::cout << std::flush;
}

}  // namespace QUOR_ZEF
