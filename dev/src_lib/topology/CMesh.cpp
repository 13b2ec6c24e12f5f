#include "topology/CMesh.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "topology/CPatch.h"

namespace QUOR_ZEF {

CMesh::CMesh(Voro* pVoro_, const Calc* pCalc_, CellMap* pCells_) : pVoro(pVoro_), pCalc(pCalc_), pCells(pCells_) {
    adjacency.reset(pCells->getNumNumbers());
}

CMesh::~CMesh() {
    endPatches();
    endEdges();
}

void CMesh::clear() {
    endPatches();
    endEdges();
    edges.reset();
    triangles.reset();
    vOrder.clear();
    numOrdered = 0;
    bUnique = false;
    adjacency.reset(pCells->getNumNumbers());
}

// Only edges that ever had more than two triangles hold memory.
void CMesh::endEdges() {
    for (CEdge* pCE : vManyEdges) pCE->~CEdge();
    vManyEdges.clear();
}

CTriangle* CMesh::createT(uint64 v0, uint64 v1, uint64 v2, uint64 vcd, int config) {
    ASSEX(v0!=v1 && v1!=v2 && v0!=v2);
    const std::uint32_t n0 = pCells->addNumber(v0), n1 = pCells->addNumber(v1), n2 = pCells->addNumber(v2);
    if (adjacency.getNumVertices() < pCells->getNumNumbers()) adjacency.grow(pCells->getNumNumbers());
    const std::uint32_t number = triangles.size();
    CTriangle* pT = triangles.make(v0, v1, v2, vcd, config, number);
    adjacency.addToFan(n0, number);
    adjacency.addToFan(n1, number);
    adjacency.addToFan(n2, number);
    pT->pCE[0] = makeEdge(n0, v0, n1, v1);
    pT->pCE[1] = makeEdge(n1, v1, n2, v2);
    pT->pCE[2] = makeEdge(n0, v0, n2, v2);
    for (CEdge* pCE : pT->pCE) {
        roomForOne(vManyEdges);
        if (pCE->checkIn(pT)) vManyEdges.push_back(pCE);
    }
    return pT;
}

CEdge* CMesh::findEdge(std::uint32_t numberA, uint64 a, std::uint32_t numberB, uint64 b) const {
    const std::uint32_t edge = a < b ? adjacency.findEdge(numberA, numberB) : adjacency.findEdge(numberB, numberA);
    return edge == Adjacency::none ? nullptr : edges[edge];
}

CEdge* CMesh::makeEdge(std::uint32_t numberA, uint64 a, std::uint32_t numberB, uint64 b) {
    if (a > b) {
        std::swap(a, b);
        std::swap(numberA, numberB);
    }
    const std::uint32_t known = adjacency.findEdge(numberA, numberB);
    if (known != Adjacency::none) return edges[known];
    const std::uint32_t number = edges.size();
    adjacency.addEdge(numberA, numberB, number);
    return edges.make(a, b, number);
}

void CMesh::unregisterTriangle(const CTriangle* pT) {
    int numDelete = 0;
    for (const uint64 vcd : pT->corner)
        if (adjacency.removeFromFan(pCells->getNumber(vcd), pT->number)) ++numDelete;
    ASSEX(numDelete==3);
}

CEdge* CMesh::getEdge(uint64 a, uint64 b) const {
    const std::uint32_t numberA = pCells->getNumber(a), numberB = pCells->getNumber(b);
    const std::size_t numVertices = adjacency.getNumVertices();
    return numberA < numVertices && numberB < numVertices ? findEdge(numberA, a, numberB, b) : nullptr;
}

std::span<const std::uint32_t> CMesh::getFan(uint64 vcd) const {
    const std::uint32_t vertex = pCells->getNumber(vcd);
    return vertex < adjacency.getNumVertices() ? adjacency.fan(vertex) : std::span<const std::uint32_t>();
}

void CMesh::getIncidentTriangles(uint64 vcd, std::vector<CTriangle*>& vT) const {
    for (const std::uint32_t number : getFan(vcd)) vT.push_back(triangles[number]);
}

void CMesh::getIncidentEdges(uint64 vcd, std::vector<CEdge*>& vEdges) const {
    const auto numBefore = static_cast<std::ptrdiff_t>(vEdges.size());
    for (const std::uint32_t number : getFan(vcd)) {
        const CTriangle* pT = triangles[number];
        const int ici = pT->getICI(vcd);
        vEdges.push_back(pT->getCEdge((ici + 1) % 3));
        vEdges.push_back(pT->getCEdge((ici + 2) % 3));
    }
    std::sort(vEdges.begin() + numBefore, vEdges.end(), edgeLess);
    vEdges.erase(std::unique(vEdges.begin() + numBefore, vEdges.end()), vEdges.end());
}

// A vertex that came late has a high number, so the CellMap gives their order.
std::vector<std::uint32_t> CMesh::getVerticesInOrder() const {
    std::vector<std::uint32_t> vVertices;
    vVertices.reserve(adjacency.getNumVertices());
    pCells->forEachNumber([&](std::uint32_t vertex) {
        if (vertex < adjacency.getNumVertices()) vVertices.push_back(vertex);
    });
    return vVertices;
}

void CMesh::getAllTriangles(std::vector<CTriangle*>& vT) const {
    vT.reserve(vT.size() + triangles.size());
    forEachTriangle([&](CTriangle* pT) { vT.push_back(pT); });
}

// killDuplicateTriangles() sorts those before numOrdered by their corners.
bool CMesh::isBefore(const CTriangle* a, const CTriangle* b) const {
    if (a->number >= numOrdered || b->number >= numOrdered) return a->number < b->number;
    std::array<uint64, 3> cornersA, cornersB;
    a->getSortedCorners(cornersA[0], cornersA[1], cornersA[2]);
    b->getSortedCorners(cornersB[0], cornersB[1], cornersB[2]);
    return std::tie(cornersA, a->number) < std::tie(cornersB, b->number);
}

void CMesh::getAllEdges(std::vector<CEdge*>& vEdges) const {
    const std::vector<std::uint32_t> vVertices = getVerticesInOrder();
    std::vector<std::size_t> vFirst(vVertices.size() + 1, vEdges.size());
    for (std::size_t i = 0; i < vVertices.size(); ++i) vFirst[i + 1] = vFirst[i] + adjacency.edges(vVertices[i]).size();
    vEdges.resize(vFirst.back());
    parallelChunks(vVertices.size(), minVertices, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            CEdge** const pFirst = vEdges.data() + vFirst[i];
            CEdge** pNext = pFirst;
            for (const Adjacency::Link& link : adjacency.edges(vVertices[i])) *pNext++ = edges[link.edge];
            sortByFarEnd(pFirst, pNext);
        }
    });
}

void CMesh::getDegN(int deg, std::vector<CEdge*>& vEdges) const {
    if (deg <= 0 && deg != -1 && deg != -5 && deg != -99) {
        showDetail(" ** deg=", deg);
        ASSEX(false);
    }
    const auto isWanted = [deg](const CEdge* pCE) {
        const int degree = pCE->getDegree();
        return deg > 0 ? degree == deg : deg == -1 ? degree > 2 : deg == -5 ? degree == 1 || degree > 2 : degree > 0;
    };
    selectEdges(isWanted, vEdges);
}

namespace {

constexpr std::size_t minTriangles = 4096;  // a thread

// f(p0, p1, p2) with the corners' positions; a corner without one fails an ASSEX.
template <class F>
auto withCorners(CellMap::Reader& mCCDBundle, const CTriangle* pT, F&& f) {
    std::array<const Point3*, 3> aPoints{};
    for (int i = 0; i < 3; ++i) {
        const Bundle* pBundle = mCCDBundle.get(pT->getCorner(i));
        ASSEX(pBundle!=nullptr);
        aPoints[static_cast<std::size_t>(i)] = pBundle->pPoint;
    }
    return f(*aPoints[0], *aPoints[1], *aPoints[2]);
}

}  // namespace

void CMesh::getDegenerateTriangles(std::vector<CTriangle*>& vT) const {
    const std::size_t num = vOrder.size() + (triangles.size() - numOrdered);
    const auto vParts =
        parallelChunkResults<std::vector<CTriangle*>>(num, minTriangles, [&](std::size_t begin, std::size_t end) {
            CellMap::Reader reader(*pCells);
            std::vector<CTriangle*> vPart;
            for (std::size_t i = begin; i < end; ++i) {
                CTriangle* pT = triangles[i < vOrder.size() ? vOrder[i] : numOrdered + i - vOrder.size()];
                if (!pT->isAlive()) continue;
                if (withCorners(reader, pT, [](const Point3& p0, const Point3& p1, const Point3& p2) {
                        return CTriangle::isDegenerate(p0, p1, p2);
                    }))
                    vPart.push_back(pT);
            }
            return vPart;
        });
    for (const auto& vPart : vParts) vT.insert(vT.end(), vPart.begin(), vPart.end());
}

std::vector<double> CMesh::getAreas() const {
    std::vector<double> vAreas(triangles.size(), 0.0);
    parallelChunks(triangles.size(), minTriangles, [&](std::size_t begin, std::size_t end) {
        CellMap::Reader reader(*pCells);
        for (std::size_t number = begin; number < end; ++number)
            if (triangles[number]->isAlive()) vAreas[number] = withCorners(reader, triangles[number], getTriangleArea);
    });
    return vAreas;
}

double CMesh::getTotalArea() const {
    const std::vector<double> vAreas = getAreas();
    double area = 0.0;
    forEachTriangle([&](const CTriangle* pT) { area += vAreas[pT->getNumber()]; });
    return area;
}

Point3* CMesh::getVtx(uint64 vcd) const {
    const CellMap& mCCDBundle = *pCells;
    const auto q_it = mCCDBundle.find(vcd);
    ASSEX(q_it!=mCCDBundle.end());
    return (*q_it)->pPoint;
}

double CMesh::getCellSize() const {
    return pCalc->getCellSize();
}

}  // namespace QUOR_ZEF
