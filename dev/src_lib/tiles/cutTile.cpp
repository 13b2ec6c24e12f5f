#include "tiles/cutTile.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "flat/EdgeTable.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 4096;

std::vector<SeamKey> cellsOf(const TriangleMesh& mesh, const Calc& calc, const TileOwners& owners) {
    std::vector<SeamKey> vKeys(mesh.vertices.size());
    parallelChunks(vKeys.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const uint64 cell = calc.getCCD(mesh.vertices[i]);
            vKeys[i] = {cell, 0, owners.ownerOf(cell)};
        }
    });
    return vKeys;
}

std::vector<char> markShared(const std::vector<SeamKey>& vKeys, const TileOwners& owners) {
    std::vector<char> vShared(vKeys.size());
    parallelChunks(vShared.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vShared[i] = owners.isShared(unpackCCD(vKeys[i].cell)) ? 1 : 0;
    });
    return vShared;
}

// Also if it reaches across a whole band.
bool isShared(std::span<const std::uint32_t> corners, const std::vector<SeamKey>& vKeys,
              const std::vector<char>& vShared) {
    return std::ranges::any_of(
        corners, [&](std::uint32_t i) { return vShared[i] != 0 || vKeys[i].owner != vKeys[corners[0]].owner; });
}

// Vertices that share their cells, those of one cell together.
std::vector<std::uint32_t> listCrowded(const std::vector<SeamKey>& vKeys) {
    std::vector<std::pair<uint64, std::uint32_t>> vCoded(vKeys.size());
    for (std::uint32_t i = 0; i < vKeys.size(); ++i) vCoded[i] = {vKeys[i].cell, i};
    sortMT(vCoded.begin(), vCoded.end());
    std::vector<std::uint32_t> vCrowded;
    for (std::size_t i = 0; i < vCoded.size(); ++i) {
        const bool bSame = (i > 0 && vCoded[i - 1].first == vCoded[i].first) ||
                           (i + 1 < vCoded.size() && vCoded[i + 1].first == vCoded[i].first);
        if (bSame) vCrowded.push_back(vCoded[i].second);
    }
    return vCrowded;
}

// Tells vertices of one cell apart, and those of one place by what is around.
struct Surroundings {
    uint64 cell = 0;
    Point3 place, lowest;  // and the lowest place of a neighbour
    std::uint32_t vertex = 0;

    bool operator<(const Surroundings& other) const {
        if (cell != other.cell) return cell < other.cell;
        if (place != other.place) return place < other.place;
        if (lowest != other.lowest) return lowest < other.lowest;
        return vertex < other.vertex;
    }
};

std::vector<Surroundings> lookAround(const TriangleMesh& mesh, const std::vector<SeamKey>& vKeys,
                                     const std::vector<std::uint32_t>& vVertices) {
    constexpr double far = std::numeric_limits<double>::infinity();
    std::vector<std::uint32_t> vNumbers(mesh.vertices.size(), TileMesh::none);
    std::vector<Surroundings> vFound(vVertices.size());
    for (std::uint32_t k = 0; k < vVertices.size(); ++k) {
        const std::uint32_t i = vVertices[k];
        vNumbers[i] = k;
        vFound[k] = {vKeys[i].cell, mesh.vertices[i], Point3(far, far, far), i};
    }
    for (std::size_t side = 0; side < mesh.indices.size(); ++side) {
        const std::uint32_t k = vNumbers[mesh.indices[side]];
        if (k == TileMesh::none) continue;
        const auto first = static_cast<std::uint32_t>(side);
        for (const std::uint32_t other : {nextSide(first), previousSide(first)})
            vFound[k].lowest = std::min(vFound[k].lowest, mesh.vertices[mesh.indices[other]]);
    }
    return vFound;
}

void rank(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vVertices, std::vector<SeamKey>& vKeys,
          std::uint32_t first) {
    std::vector<Surroundings> vAround = lookAround(mesh, vKeys, vVertices);
    std::sort(vAround.begin(), vAround.end());
    for (std::size_t k = 0; k < vAround.size(); ++k) {
        const bool bSame = k > 0 && vAround[k - 1].cell == vAround[k].cell;
        vKeys[vAround[k].vertex].rank = bSame ? vKeys[vAround[k - 1].vertex].rank + 1 : first;
    }
}

}  // namespace

std::vector<SeamKey> keysOf(const TriangleMesh& mesh, const Calc& calc, const TileOwners& owners) {
    std::vector<SeamKey> vKeys = cellsOf(mesh, calc, owners);
    rank(mesh, listCrowded(vKeys), vKeys, 0);
    return vKeys;
}

std::vector<SeamKey> followKeys(const TriangleMesh& mesh, const std::vector<Point3>& vPlaces,
                                const std::vector<SeamKey>& vOldKeys, const Calc& calc, const TileOwners& owners) {
    constexpr std::uint32_t firstOfNew = 1000;  // ranks
    std::vector<std::pair<Point3, std::uint32_t>> vSorted(vPlaces.size());
    for (std::uint32_t i = 0; i < vPlaces.size(); ++i) vSorted[i] = {vPlaces[i], i};
    sortMT(vSorted.begin(), vSorted.end(),
           [](const auto& a, const auto& b) { return a.first != b.first ? a.first < b.first : a.second < b.second; });
    std::vector<SeamKey> vKeys = cellsOf(mesh, calc, owners);
    std::vector<bool> vTaken(vSorted.size());
    std::vector<std::uint32_t> vNew;
    for (std::uint32_t i = 0; i < vKeys.size(); ++i) {
        const Point3& p = mesh.vertices[i];
        auto it = std::lower_bound(vSorted.begin(), vSorted.end(), p,
                                   [](const auto& entry, const Point3& place) { return entry.first < place; });
        while (it != vSorted.end() && it->first == p && vTaken[static_cast<std::size_t>(it - vSorted.begin())]) ++it;
        if (it == vSorted.end() || it->first != p) {
            vNew.push_back(i);
            continue;
        }
        vTaken[static_cast<std::size_t>(it - vSorted.begin())] = true;
        vKeys[i] = vOldKeys[it->second];
    }
    rank(mesh, vNew, vKeys, firstOfNew);
    return vKeys;
}

namespace {

class TileCutter {
public:
    TileCutter(const TriangleMesh& mesh_, const std::vector<SeamKey>& vKeys_, const Calc& calc_,
               const TileOwners& owners_)
        : mesh(mesh_), vKeys(vKeys_), calc(calc_), owners(owners_), edges(mesh.indices, mesh.vertices.size()) {}

    TileMesh run() {
        sortTriangles();
        numberPieces();
        listVertices();
        fillBand();
        fillCore();
        return std::move(result);
    }

private:
    enum class Part : std::uint8_t { ELSEWHERE, FOREIGN_CORE, BAND, CORE };

    const TriangleMesh& mesh;
    const std::vector<SeamKey>& vKeys;
    const Calc& calc;
    const TileOwners& owners;
    const EdgeTable edges;
    std::vector<Part> vParts;             // by triangle
    std::vector<std::uint32_t> vPieces;   // by triangle
    std::vector<std::uint32_t> vNumbers;  // of vertices in the result
    TileMesh result;

    std::span<const std::uint32_t> cornersOf(std::size_t t) const { return std::span(mesh.indices).subspan(3 * t, 3); }
    // The band has every triangle with a vertex that several tiles see, if this one does.
    void sortTriangles() {
        const std::vector<char> vShared = markShared(vKeys, owners);
        vParts.assign(mesh.numTriangles(), Part::ELSEWHERE);
        for (std::size_t t = 0; t < vParts.size(); ++t) {
            const std::span<const std::uint32_t> corners = cornersOf(t);
            const bool bShared = isShared(corners, vKeys, vShared);
            const bool bViewed = std::ranges::any_of(
                corners, [&](std::uint32_t i) { return owners.isViewed(unpackCCD(vKeys[i].cell)); });
            if (bViewed)
                vParts[t] = bShared ? Part::BAND : Part::CORE;
            else if (!bShared)
                vParts[t] = Part::FOREIGN_CORE;
        }
    }

    // Those of the core, in the order of their triangles. What hangs together by way of the band settles with it.
    void numberPieces() {
        DisjointSets sets(mesh.numTriangles());
        const auto isCore = [&](std::uint32_t side) { return vParts[side / 3] == Part::CORE; };
        edges.forEachEdge([&](const Edge& edge) {
            if (edge.size() == 2 && isCore(edge[0]) && isCore(edge[1])) sets.join(edge[0] / 3, edge[1] / 3);
        });
        std::vector<std::uint32_t> vNumberOf(mesh.numTriangles(), TileMesh::none);
        vPieces.assign(mesh.numTriangles(), TileMesh::none);
        std::uint32_t num = 0;
        for (std::uint32_t t = 0; t < vPieces.size(); ++t) {
            if (vParts[t] != Part::CORE) continue;
            std::uint32_t& number = vNumberOf[sets.find(t)];
            if (number == TileMesh::none) number = num++;
            vPieces[t] = number;
        }
        result.vPieces.resize(num);
    }

    void listVertices() {
        std::vector<Part> vPartOf(mesh.vertices.size(), Part::ELSEWHERE);
        for (std::size_t t = 0; t < vParts.size(); ++t)
            for (const std::uint32_t i : cornersOf(t)) {
                if (vParts[t] == Part::BAND) vPartOf[i] = Part::BAND;
                if (vParts[t] == Part::CORE && vPartOf[i] == Part::ELSEWHERE) vPartOf[i] = Part::CORE;
            }
        vNumbers.assign(mesh.vertices.size(), TileMesh::none);
        const auto list = [&](Part part, std::vector<SeamKey>& vListed) {
            std::vector<std::uint32_t> vOrder;
            for (std::uint32_t i = 0; i < vPartOf.size(); ++i)
                if (vPartOf[i] == part) vOrder.push_back(i);
            std::ranges::stable_sort(vOrder, {}, [&](std::uint32_t i) -> const SeamKey& { return vKeys[i]; });
            for (const std::uint32_t i : vOrder) {
                vNumbers[i] = static_cast<std::uint32_t>(result.vVertices.size());
                result.vVertices.push_back(mesh.vertices[i]);
                vListed.push_back(vKeys[i]);
            }
        };
        list(Part::BAND, result.vKeys);
        list(Part::CORE, result.vInnerKeys);
    }

    // The triangle there, or none.
    std::uint32_t across(std::uint32_t side) const {
        const Edge edge = edges.at(mesh.indices[side], mesh.indices[nextSide(side)]);
        if (edge.size() != 2) return TileMesh::none;
        return (edge[0] == side ? edge[1] : edge[0]) / 3;
    }

    Beyond beyond(std::uint32_t triangle) const {
        if (triangle == TileMesh::none) return Beyond::NOTHING;
        const Part part = vParts[triangle];
        return part == Part::CORE || part == Part::FOREIGN_CORE ? Beyond::CORE : Beyond::BAND;
    }

    void fillBand() {
        for (std::uint32_t side = 0; side < mesh.indices.size(); ++side) {
            if (vParts[side / 3] != Part::BAND) continue;
            const std::uint32_t there = across(side);
            result.vBand.push_back(vNumbers[mesh.indices[side]]);
            result.vBeyond.push_back(beyond(there));
            result.vCoreBeyond.push_back(there == TileMesh::none ? TileMesh::none : vPieces[there]);
        }
    }

    void fillCore() {
        for (std::uint32_t t = 0; t < vParts.size(); ++t) {
            if (vParts[t] != Part::CORE) continue;
            for (const std::uint32_t i : cornersOf(t)) result.vCore.push_back(vNumbers[i]);
            result.vCorePieces.push_back(vPieces[t]);
            result.vPieces[vPieces[t]].add(sumsOf(t));
        }
    }

    PieceSums sumsOf(std::uint32_t t) const {
        const auto place = [&](std::uint32_t i) -> const Point3& { return mesh.vertices[mesh.indices[3 * t + i]]; };
        PieceSums sums = QUOR_ZEF::sumsOf(place(0), place(1), place(2), Point3(calc.x0, calc.y0, calc.z0));
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
            if (edges.at(mesh.indices[side], mesh.indices[nextSide(side)]).size() == 1) ++sums.numBorders;
        return sums;
    }
};

}  // namespace

TileMesh cutTile(const TriangleMesh& mesh, const std::vector<SeamKey>& vKeys, const Calc& calc,
                 const TileOwners& owners) {
    return TileCutter(mesh, vKeys, calc, owners).run();
}

}  // namespace QUOR_ZEF
