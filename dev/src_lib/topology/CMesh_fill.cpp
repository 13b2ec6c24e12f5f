#include <algorithm>
#include <bit>
#include <utility>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

using Vertices = std::array<std::uint32_t, 3>;

// Vertices whose edges are collected before the first of them is made, in pages:
// the sides of a page stay in the processor's cache until then.
constexpr std::size_t pageSize = 4096;
constexpr std::size_t pagesAtOnce = 32;

// One triangle at one edge from its lower end.
struct Side {
    std::uint32_t other, number;
    std::uint32_t index;  // of the edge among those of the lower end
    std::uint8_t slot;    // of the edge, see CTriangle::pCE
};

// The edges from some vertices to those of higher code, triangle by triangle. The
// loops have no branches that depend on the triangles: they could not be predicted.
class EdgePage {
public:
    struct Vertex {
        std::uint32_t number, numSides, numEdges;
    };
    std::vector<Side> vSides;           // vertex by vertex
    std::vector<Vertex> vVertices;      // in order
    std::vector<std::uint32_t> vOrder;  // triangles by their sorted corners, then of making
    bool bUnique = true;                // no two of them are on the same cells

    void collect(const CellMap& cells, const Adjacency& adjacency, const Vertices* pVertices,
                 std::span<const std::uint32_t> vertices) {
        vVertices.clear();
        vOrder.clear();
        std::size_t numSides = 0;
        for (const std::uint32_t vertex : vertices) {
            const auto fan = adjacency.fan(vertex);
            if (vSides.size() <= numSides + 2 * fan.size()) vSides.resize(2 * vSides.size() + 2 * fan.size() + 1);
            Side* const pFirst = &vSides[numSides];
            Side* const pEnd = addSides(cells, pVertices, vertex, fan, pFirst);
            const auto num = static_cast<std::uint32_t>(pEnd - pFirst);
            vVertices.push_back({vertex, num, numberEdges({pFirst, pEnd})});
            sortTriangles(cells, {pFirst, pEnd});
            numSides += num;
        }
    }

private:
    struct Place {
        std::uint32_t round = 0, other = 0, index = 0;
    };
    // A triangle at its lowest corner.
    struct Key {
        std::uint32_t middle, upper, number;
    };

    static Side* addSides(const CellMap& cells, const Vertices* pVertices, std::uint32_t vertex,
                          std::span<const std::uint32_t> fan, Side* pSide) {
        static constexpr std::array<std::uint8_t, 3> nextOf = {1, 2, 0}, previousOf = {2, 0, 1};
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
        return pSide;
    }
    // By hashing, at most half of the places taken; those of an earlier round are free.
    // Returns the number of edges.
    std::uint32_t numberEdges(std::span<Side> sides) {
        if (vPlaces.size() < 2 * sides.size()) vPlaces.assign(std::bit_ceil(4 * sides.size()), Place());
        const std::size_t wrap = vPlaces.size() - 1;
        ++round;
        std::uint32_t numEdges = 0;
        for (Side& side : sides) {
            std::size_t place = (side.other * 0x9e3779b1u >> 16) & wrap;
            while (vPlaces[place].other != side.other && vPlaces[place].round == round) place = (place + 1) & wrap;
            Place& found = vPlaces[place];
            const bool bNew = found.round != round;
            side.index = bNew ? numEdges : found.index;
            numEdges += bNew ? 1 : 0;
            found = {round, side.other, side.index};
        }
        return numEdges;
    }
    // Of the triangles that have both sides here.
    void sortTriangles(const CellMap& cells, std::span<const Side> sides) {
        vKeys.clear();
        for (std::size_t i = 1; i < sides.size(); ++i) {
            if (sides[i].number != sides[i - 1].number) continue;
            const std::uint32_t a = sides[i - 1].other, b = sides[i].other;
            const bool bSwap = cells.isLower(b, a);
            vKeys.push_back({bSwap ? b : a, bSwap ? a : b, sides[i].number});
        }
        std::sort(vKeys.begin(), vKeys.end(), [&](const Key& k, const Key& l) {
            if (k.middle != l.middle) return cells.isLower(k.middle, l.middle);
            return k.upper != l.upper ? cells.isLower(k.upper, l.upper) : k.number < l.number;
        });
        for (std::size_t i = 0; i < vKeys.size(); ++i) {
            if (i > 0 && vKeys[i].middle == vKeys[i - 1].middle && vKeys[i].upper == vKeys[i - 1].upper)
                bUnique = false;
            vOrder.push_back(vKeys[i].number);
        }
    }

    std::vector<Place> vPlaces = std::vector<Place>(64);
    std::uint32_t round = 0;
    std::vector<Key> vKeys;
};

// Edges with memory of their own, by the page that made them; destroyed here unless
// they are handed on.
struct ManyEdges {
    std::vector<std::vector<CEdge*>> vOfPage;

    ~ManyEdges() {
        for (const auto& vEdges : vOfPage)
            for (CEdge* pCE : vEdges) pCE->~CEdge();
    }
    void handTo(std::vector<CEdge*>& vEdges) {
        std::size_t num = vEdges.size();
        for (const auto& vHere : vOfPage) num += vHere.size();
        vEdges.reserve(num);
        for (const auto& vHere : vOfPage) vEdges.insert(vEdges.end(), vHere.begin(), vHere.end());
        vOfPage.clear();
    }
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
    for (std::uint32_t number = 0; number < triangles.size(); ++number) {
        pollRun(number);
        for (const std::uint32_t vertex : pVertices[number]) ++vNum[vertex];
    }
    for (std::uint32_t vertex = 0; vertex < vNum.size(); ++vertex) {
        pollRun(vertex);
        adjacency.fillFan(vertex, vNum[vertex]);
    }
    // From here on the entries that are still to come, so that a fan is written from its end.
    for (std::uint32_t number = triangles.size(); number-- > 0;) {
        pollRun(number);
        for (const std::uint32_t vertex : pVertices[number]) adjacency.fanToFill(vertex)[--vNum[vertex]] = number;
    }
}

void CMesh::fillEdges(const Vertices* pVertices, Progress* pProgress) {
    const std::vector<std::uint32_t> vVertices = getVerticesInOrder();
    vOrder.clear();
    vOrder.reserve(triangles.size());
    bUnique = true;
    std::vector<EdgePage> vPages(std::min(pagesAtOnce, (vVertices.size() + pageSize - 1) / pageSize));
    ManyEdges many;
    many.vOfPage.resize(vPages.size());
    std::vector<std::uint32_t> vFirst(vPages.size());
    for (std::size_t done = 0; done < vVertices.size(); done += vPages.size() * pageSize) {
        const std::span<const std::uint32_t> rest = std::span(vVertices).subspan(done);
        const std::size_t numPages = std::min(vPages.size(), (rest.size() + pageSize - 1) / pageSize);
        const auto forPages = [&](auto&& f) {
            parallelChunks(numPages, 1, [&](std::size_t begin, std::size_t end) {
                for (std::size_t i = begin; i < end; ++i) f(i);
            });
        };
        forPages([&](std::size_t i) {
            const std::size_t first = i * pageSize;
            vPages[i].collect(*pCells, adjacency, pVertices,
                              rest.subspan(first, std::min(pageSize, rest.size() - first)));
        });
        std::uint32_t num = edges.size();
        for (std::size_t i = 0; i < numPages; ++i) {
            vFirst[i] = num;
            for (const EdgePage::Vertex& vertex : vPages[i].vVertices) {
                adjacency.fillEdges(vertex.number, vertex.numEdges);
                num += vertex.numEdges;
            }
            vOrder.insert(vOrder.end(), vPages[i].vOrder.begin(), vPages[i].vOrder.end());
            bUnique = bUnique && vPages[i].bUnique;
        }
        edges.grow(num - edges.size());
        forPages([&](std::size_t i) { makeEdges(vPages[i], vFirst[i], many.vOfPage[i]); });
        if (pProgress) pProgress->tick(std::min(rest.size(), numPages * pageSize));
    }
    many.handTo(vManyEdges);
    numOrdered = triangles.size();
}

// Those of a page, with numbers from edge on; appends those that take memory to vMany.
template <class Page>
void CMesh::makeEdges(const Page& page, std::uint32_t edge, std::vector<CEdge*>& vMany) {
    const auto* pSide = page.vSides.data();
    for (const auto& vertex : page.vVertices) {
        const auto links = adjacency.edgesToFill(vertex.number);
        std::uint32_t num = 0;
        for (const auto* const pEnd = pSide + vertex.numSides; pSide != pEnd; ++pSide) {
            const std::uint32_t here = edge + pSide->index;
            if (pSide->index == num) {
                links[num++] = {pSide->other, here};
                edges.makeAt(here, pCells->getCode(vertex.number), pCells->getCode(pSide->other), here);
            }
            CEdge* pCE = edges[here];
            CTriangle* pT = triangles[pSide->number];
            roomForOne(vMany);
            if (pCE->checkIn(pT)) vMany.push_back(pCE);
            pT->pCE[pSide->slot] = pCE;
        }
        edge += vertex.numEdges;
    }
}

}  // namespace QUOR_ZEF
