#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

using Vertices = std::array<std::uint32_t, 3>;

constexpr std::size_t minChunk = 4096;  // vertices a thread

// The edges from a vertex to those of higher code, triangle by triangle. The loops
// have no branches that depend on the triangles: they could not be predicted.
class EdgesAtVertex {
public:
    // One triangle at one edge.
    struct Side {
        std::uint32_t other, number;
        std::uint32_t index;  // of the edge among those here
        std::uint8_t slot;    // of the edge, see CTriangle::pCE
    };

    EdgesAtVertex(const CellMap& cells_, const Vertices* pVertices_) : cells(cells_), pVertices(pVertices_) {}

    void collect(std::uint32_t vertex, std::span<const std::uint32_t> fan) {
        if (vSides.size() <= 2 * fan.size()) vSides.resize(4 * fan.size() + 1);
        Side* pSide = vSides.data();
        const auto add = [&](std::uint32_t other, std::uint32_t number, std::size_t slot) {
            pSide->other = other;
            pSide->number = number;
            pSide->slot = static_cast<std::uint8_t>(slot);
            pSide += cells.isLower(vertex, other) ? 1 : 0;
        };
        for (const std::uint32_t number : fan) {
            const Vertices& v = pVertices[number];
            const std::size_t i = (v[1] == vertex ? 1u : 0u) + (v[2] == vertex ? 2u : 0u);
            add(v[nextOf[i]], number, i);
            add(v[previousOf[i]], number, previousOf[i]);
        }
        numSides = static_cast<std::size_t>(pSide - vSides.data());
        numberEdges();
    }
    std::span<const Side> getSides() const { return {vSides.data(), numSides}; }
    std::uint32_t getNumEdges() const { return numEdges; }

private:
    static constexpr std::array<std::uint8_t, 3> nextOf = {1, 2, 0}, previousOf = {2, 0, 1};
    struct Place {
        std::uint32_t round = 0, other = 0, index = 0;
    };

    // By hashing, at most half of the places taken; those of an earlier round are free.
    void numberEdges() {
        if (vPlaces.size() < 2 * numSides) vPlaces.assign(std::bit_ceil(4 * numSides), Place());
        const std::size_t wrap = vPlaces.size() - 1;
        ++round;
        numEdges = 0;
        for (std::size_t i = 0; i < numSides; ++i) {
            Side& side = vSides[i];
            std::size_t place = (side.other * 0x9e3779b1u >> 16) & wrap;
            while (vPlaces[place].other != side.other && vPlaces[place].round == round) place = (place + 1) & wrap;
            Place& found = vPlaces[place];
            const bool bNew = found.round != round;
            side.index = bNew ? numEdges : found.index;
            numEdges += bNew ? 1 : 0;
            found = {round, side.other, side.index};
        }
    }

    const CellMap& cells;
    const Vertices* pVertices;  // by triangle number
    std::vector<Side> vSides;
    std::size_t numSides = 0;
    std::vector<Place> vPlaces = std::vector<Place>(64);
    std::uint32_t round = 0;
    std::uint32_t numEdges = 0;
};

}  // namespace

// What createT() looks up follows from all triangles together: the fans from
// counting, and the edges at their lower ends, each vertex by itself.
void CMesh::growForAll(std::uint32_t num) {
    ASSEX(triangles.size()==0);
    if (adjacency.getNumVertices() < pCells->getNumNumbers()) adjacency.grow(pCells->getNumNumbers());
    triangles.grow(num);
}

void CMesh::fillFans(const Vertices* pVertices) {
    std::vector<std::uint32_t> vNum(adjacency.getNumVertices(), 0);
    for (std::uint32_t number = 0; number < triangles.size(); ++number)
        for (const std::uint32_t vertex : pVertices[number]) ++vNum[vertex];
    adjacency.fillFans(vNum);
    // From here on the entries that are still to come, so that a fan is written from its end.
    for (std::uint32_t number = triangles.size(); number-- > 0;)
        for (const std::uint32_t vertex : pVertices[number]) adjacency.fanToFill(vertex)[--vNum[vertex]] = number;
}

void CMesh::fillEdges(const Vertices* pVertices) {
    const std::size_t numVertices = adjacency.getNumVertices();
    std::vector<std::uint32_t> vNum(numVertices);
    parallelChunks(numVertices, minChunk, [&](std::size_t begin, std::size_t end) {
        EdgesAtVertex edgesHere(*pCells, pVertices);
        for (std::size_t i = begin; i < end; ++i) {
            const auto vertex = static_cast<std::uint32_t>(i);
            edgesHere.collect(vertex, adjacency.fan(vertex));
            vNum[i] = edgesHere.getNumEdges();
        }
    });
    adjacency.fillEdges(vNum);
    std::vector<std::uint32_t> vFirst(numVertices);
    std::exclusive_scan(vNum.begin(), vNum.end(), vFirst.begin(), std::uint32_t{0});
    if (numVertices != 0) edges.grow(vFirst.back() + vNum.back());
    const auto vMany =
        parallelChunkResults<std::vector<CEdge*>>(numVertices, minChunk, [&](std::size_t begin, std::size_t end) {
            EdgesAtVertex edgesHere(*pCells, pVertices);
            std::vector<CEdge*> vHere;
            for (std::size_t i = begin; i < end; ++i) {
                const auto vertex = static_cast<std::uint32_t>(i);
                edgesHere.collect(vertex, adjacency.fan(vertex));
                makeEdges(vertex, vFirst[i], edgesHere.getSides(), vHere);
            }
            return vHere;
        });
    for (const auto& vHere : vMany) vManyEdges.insert(vManyEdges.end(), vHere.begin(), vHere.end());
}

template <class Sides>
void CMesh::makeEdges(std::uint32_t vertex, std::uint32_t first, const Sides& sides, std::vector<CEdge*>& vMany) {
    const auto links = adjacency.edgesToFill(vertex);
    std::uint32_t num = 0;
    for (const auto& side : sides) {
        const std::uint32_t edge = first + side.index;
        if (side.index == num) {
            links[num++] = {side.other, edge};
            edges.makeAt(edge, pCells->getCode(vertex), pCells->getCode(side.other), edge);
        }
        CEdge* pCE = edges[edge];
        CTriangle* pT = triangles[side.number];
        if (pCE->checkIn(pT)) vMany.push_back(pCE);
        pT->pCE[side.slot] = pCE;
    }
}

}  // namespace QUOR_ZEF
