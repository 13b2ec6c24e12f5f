#include "tiles/BandMesh.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "flat/EdgeTable.h"
#include "mend/LoopFiller.h"
#include "parallel/sortMT.h"
#include "store/DisjointSets.h"
#include "tiles/TileOwners.h"

namespace QUOR_ZEF {

BandMesh::BandMesh(const TilePlan& plan, std::vector<TileMesh>& vBands) {
    numberVertices(plan, vBands);
    collectViews(vBands);
}

// In the order of their keys; each lies where its owner has it, or else the first tile that knows it.
void BandMesh::numberVertices(const TilePlan& plan, const std::vector<TileMesh>& vBands) {
    struct Entry {
        SeamKey key;
        bool bForeign;
        std::uint32_t tile, number;
        auto operator<=>(const Entry&) const = default;
    };
    std::vector<Entry> vEntries;
    for (std::uint32_t tile = 0; tile < vBands.size(); ++tile) {
        vNumbers.emplace_back(vBands[tile].vKeys.size());
        for (std::uint32_t i = 0; i < vBands[tile].vKeys.size(); ++i) {
            const SeamKey& key = vBands[tile].vKeys[i];
            vEntries.push_back({key, key.owner != tile, tile, i});
        }
    }
    sortMT(vEntries.begin(), vEntries.end());
    for (std::size_t k = 0; k < vEntries.size(); ++k) {
        const Entry& entry = vEntries[k];
        if (k == 0 || vEntries[k - 1].key != entry.key) {
            mesh.vertices.push_back(vBands[entry.tile].vVertices[entry.number]);
            vKeys.push_back(entry.key);
        }
        vNumbers[entry.tile][entry.number] = static_cast<std::uint32_t>(mesh.vertices.size() - 1);
    }
    listViewers(plan);
}

void BandMesh::listViewers(const TilePlan& plan) {
    std::vector<TileOwners> vAround;
    for (std::uint32_t tile = 0; tile < plan.boxes.size(); ++tile) vAround.emplace_back(plan, tile);
    Tiles vFound;
    for (const SeamKey& key : vKeys) {
        vOwners.push_back(key.owner);
        vFirstViewers.push_back(vViewers.size());
        vAround.at(key.owner).listViewers(unpackCCD(key.cell), vFound);
        vViewers.insert(vViewers.end(), vFound.begin(), vFound.end());
    }
    vFirstViewers.push_back(vViewers.size());
}

std::span<const std::uint32_t> BandMesh::viewersOf(std::uint32_t vertex) const {
    return std::span(vViewers).subspan(vFirstViewers[vertex], vFirstViewers[vertex + 1] - vFirstViewers[vertex]);
}

void BandMesh::collectViews(std::vector<TileMesh>& vBands) {
    for (std::uint32_t tile = 0; tile < vBands.size(); ++tile) {
        TileMesh& band = vBands[tile];
        for (std::size_t t = 0; t < band.vBand.size() / 3; ++t) {
            View view{{}, tile, static_cast<std::uint32_t>(vViewTiles.size())};
            for (std::size_t i = 0; i < 3; ++i) view.sorted[i] = vNumbers[tile][band.vBand[3 * t + i]];
            vTriples.insert(vTriples.end(), view.sorted.begin(), view.sorted.end());
            std::sort(view.sorted.begin(), view.sorted.end());
            // Two vertices of one tile can be the same for all.
            if (view.sorted[0] != view.sorted[1] && view.sorted[1] != view.sorted[2]) vViews.push_back(view);
            vViewTiles.push_back(tile);
        }
        for (const std::uint32_t piece : band.vCoreBeyond)
            vViewPieces.push_back(piece == none ? none : numPieces + piece);
        vViewBeyond.insert(vViewBeyond.end(), band.vBeyond.begin(), band.vBeyond.end());
        numPieces += static_cast<std::uint32_t>(band.vPieces.size());
        band.vVertices = {};
        band.vKeys = {};
        band.vBand = {};
        band.vBeyond = {};
        band.vCoreBeyond = {};
    }
    sortMT(vViews.begin(), vViews.end());
    for (Seen seen; seen.begin < vViews.size(); seen.begin = seen.end) {
        while (seen.end < vViews.size() && vViews[seen.end].sorted == vViews[seen.begin].sorted) ++seen.end;
        vSeen.push_back(seen);
    }
}

bool BandMesh::isExpected(const Seen& seen, std::uint32_t tile) const {
    return std::ranges::any_of(vViews[seen.begin].sorted, [&](std::uint32_t vertex) {
        return std::ranges::binary_search(viewersOf(vertex), tile);
    });
}

const BandMesh::View* BandMesh::viewOf(const Seen& seen, std::uint32_t tile) const {
    const std::span views(vViews.data() + seen.begin, seen.end - seen.begin);
    const auto it = std::ranges::find_if(views, [&](const View& view) { return view.tile == tile; });
    return it != views.end() ? &*it : nullptr;
}

// Whether all tiles see the triangle that should.
bool BandMesh::isAgreed(const Seen& seen) const {
    return std::ranges::all_of(vViews[seen.begin].sorted, [&](std::uint32_t vertex) {
        return std::ranges::all_of(viewersOf(vertex),
                                   [&](std::uint32_t tile) { return viewOf(seen, tile) != nullptr; });
    });
}

// That of the tile that the lowest vertex belongs to. A side is at a border if any tile sees nothing beyond: then
// that is how the place beside it was settled, if nothing is there.
std::uint32_t BandMesh::mergeViews(const Seen& seen) {
    std::size_t best = seen.begin;
    for (std::size_t k = seen.begin; k < seen.end; ++k)
        if (vViews[k].tile == vOwners[vViews[k].sorted[0]]) best = k;
    const std::uint32_t taken = vViews[best].number;
    const auto endsOf = [&](std::uint32_t side) { return std::minmax(vTriples[side], vTriples[nextSide(side)]); };
    for (std::size_t k = seen.begin; k < seen.end; ++k) {
        const std::uint32_t other = vViews[k].number;
        for (std::uint32_t side = 3 * taken; side < 3 * taken + 3; ++side)
            for (std::uint32_t there = 3 * other; there < 3 * other + 3; ++there)
                if (endsOf(side) == endsOf(there)) vViewBeyond[side] = std::min(vViewBeyond[side], vViewBeyond[there]);
    }
    return taken;
}

void BandMesh::settle() {
    std::vector<std::uint32_t> vOrder;
    std::vector<Seen> vDisputed;
    for (const Seen& seen : vSeen) {
        if (isAgreed(seen))
            vOrder.push_back(mergeViews(seen));
        else
            vDisputed.push_back(seen);
    }
    numDisputed = vDisputed.size();
    const std::vector<std::uint32_t> vChosen = choose(vDisputed);
    vOrder.insert(vOrder.end(), vChosen.begin(), vChosen.end());
    take(vOrder);
    fillGaps();
}

// Of each place where tiles differ, which ends where they agree, all that one of them sees; and where such a place
// goes on beyond the band of that tile, what the next one sees there.
std::vector<std::uint32_t> BandMesh::choose(const std::vector<Seen>& vDisputed) const {
    DisjointSets sets(mesh.vertices.size());
    for (const Seen& seen : vDisputed) {
        const auto& corners = vViews[seen.begin].sorted;
        sets.join(corners[0], corners[1]);
        sets.join(corners[0], corners[2]);
    }
    std::vector<Seen> vSorted = vDisputed;
    const auto placeOf = [&](const Seen& seen) { return sets.find(vViews[seen.begin].sorted[0]); };
    std::stable_sort(vSorted.begin(), vSorted.end(),
                     [&](const Seen& a, const Seen& b) { return placeOf(a) < placeOf(b); });
    std::vector<std::uint32_t> vChosen;
    for (std::size_t begin = 0, end = 0; begin < vSorted.size(); begin = end) {
        while (end < vSorted.size() && placeOf(vSorted[end]) == placeOf(vSorted[begin])) ++end;
        const std::span cluster(vSorted.data() + begin, end - begin);
        const Tiles vRanked = rankTiles(cluster);
        for (std::size_t rank = 0; rank < vRanked.size(); ++rank)
            for (const Seen& seen : cluster) {
                const std::span before(vRanked.data(), rank);
                const auto isKnown = [&](std::uint32_t tile) { return isExpected(seen, tile); };
                const View* const pView = viewOf(seen, vRanked[rank]);
                if (pView && std::ranges::none_of(before, isKnown)) vChosen.push_back(pView->number);
            }
    }
    return vChosen;
}

// First those that see most of the place, then those that own most of it.
BandMesh::Tiles BandMesh::rankTiles(std::span<const Seen> cluster) const {
    struct Rank {
        std::size_t numBeyond = 0, numForeign = 0;
        std::uint32_t tile = 0;
        auto operator<=>(const Rank&) const = default;
    };
    Tiles vFound;
    for (const Seen& seen : cluster)
        for (std::size_t k = seen.begin; k < seen.end; ++k) vFound.push_back(vViews[k].tile);
    std::sort(vFound.begin(), vFound.end());
    vFound.erase(std::unique(vFound.begin(), vFound.end()), vFound.end());
    std::vector<Rank> vRanks;
    for (const std::uint32_t tile : vFound) {
        Rank rank{0, 0, tile};
        for (const Seen& seen : cluster) {
            if (!isExpected(seen, tile)) ++rank.numBeyond;
            for (const std::uint32_t vertex : vViews[seen.begin].sorted)
                if (vOwners[vertex] != tile) ++rank.numForeign;
        }
        vRanks.push_back(rank);
    }
    std::sort(vRanks.begin(), vRanks.end());
    for (std::size_t k = 0; k < vRanks.size(); ++k) vFound[k] = vRanks[k].tile;
    return vFound;
}

// Each if its edges have room for it.
void BandMesh::take(const std::vector<std::uint32_t>& vOrder) {
    std::vector<std::uint32_t> vAll;
    for (const std::uint32_t number : vOrder)
        for (std::uint32_t side = 3 * number; side < 3 * number + 3; ++side) vAll.push_back(vTriples[side]);
    const EdgeTable edges(vAll, mesh.vertices.size());
    std::vector<bool> vTaken(vOrder.size());
    std::vector<std::uint32_t> vTakenAs;
    for (std::uint32_t k = 0; k < vOrder.size(); ++k) {
        const auto hasRoom = [&](std::uint32_t side) {
            const Edge edge = edges.at(vAll[side], vAll[nextSide(side)]);
            const auto num = std::ranges::count_if(edge.sides, [&](const EdgeSide& s) { return vTaken[s.side / 3]; });
            return num < 2;
        };
        vTaken[k] = hasRoom(3 * k) && hasRoom(3 * k + 1) && hasRoom(3 * k + 2);
        if (!vTaken[k]) continue;
        for (std::uint32_t i = 0; i < 3; ++i) {
            mesh.indices.push_back(vTriples[3 * vOrder[k] + i]);
            vBeyond.push_back(vViewBeyond[3 * vOrder[k] + i]);
        }
        vTiles.push_back(vViewTiles[vOrder[k]]);
        vTakenAs.push_back(vOrder[k]);
    }
    listCoreSides(vTakenAs);
}

// vTakenAs: by triangle, the view that was taken.
void BandMesh::listCoreSides(const std::vector<std::uint32_t>& vTakenAs) {
    std::vector<std::uint32_t> vNumberOf(vViewTiles.size(), none);  // by view
    for (std::uint32_t t = 0; t < vTakenAs.size(); ++t) vNumberOf[vTakenAs[t]] = t;
    for (const Seen& seen : vSeen) {
        const std::span views(vViews.data() + seen.begin, seen.end - seen.begin);
        const auto it = std::ranges::find_if(views, [&](const View& v) { return vNumberOf[v.number] != none; });
        if (it == views.end()) continue;
        for (const View& view : views)
            for (std::uint32_t side = 3 * view.number; side < 3 * view.number + 3; ++side)
                if (vViewPieces[side] != none)
                    vCoreSides.push_back(
                        {vNumberOf[it->number], vViewPieces[side], !areAlike(view.number, it->number)});
    }
}

// Whether two views of a triangle have it turned the same way.
bool BandMesh::areAlike(std::uint32_t a, std::uint32_t b) const {
    const auto corner = [&](std::uint32_t view, std::uint32_t i) { return vTriples[3 * view + i % 3]; };
    for (std::uint32_t i = 0; i < 3; ++i)
        if (corner(b, i) == corner(a, 0)) return corner(b, i + 1) == corner(a, 1);
    return false;
}

// Closed walks along the sides that should have surface beyond and have none. Other such sides count as gaps later.
std::vector<std::vector<std::uint32_t>> BandMesh::findGaps() const {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vSteps;  // both ways
    edges.forEachEdge([&](const Edge& edge) {
        if (edge.size() != 1 || vBeyond[edge[0]] != Beyond::BAND) return;
        vSteps.emplace_back(edge.low, edge.high());
        vSteps.emplace_back(edge.high(), edge.low);
    });
    std::sort(vSteps.begin(), vSteps.end());
    std::vector<bool> vUsed(vSteps.size());
    const auto find = [&](std::uint32_t from, std::uint32_t to) {
        return static_cast<std::size_t>(std::lower_bound(vSteps.begin(), vSteps.end(), std::pair(from, to)) -
                                        vSteps.begin());
    };
    const auto nextFrom = [&](std::uint32_t vertex) {
        std::size_t k = find(vertex, 0);
        while (k < vSteps.size() && vSteps[k].first == vertex && vUsed[k]) ++k;
        return k < vSteps.size() && vSteps[k].first == vertex ? k : vSteps.size();
    };
    std::vector<std::vector<std::uint32_t>> vLoops;
    for (std::size_t first = 0; first < vSteps.size(); ++first) {
        if (vUsed[first]) continue;
        std::vector<std::uint32_t> vWalk = {vSteps[first].first};
        for (std::size_t k = first; k != vSteps.size(); k = nextFrom(vWalk.back())) {
            const auto [from, to] = vSteps[k];
            vUsed[k] = vUsed[find(to, from)] = true;
            const auto it = std::find(vWalk.begin(), vWalk.end(), to);
            if (it == vWalk.end()) {
                vWalk.push_back(to);
                continue;
            }
            // What lies behind the first visit is a loop; the walk goes on from there.
            vLoops.emplace_back(it, vWalk.end());
            vWalk.erase(it + 1, vWalk.end());
        }
    }
    return vLoops;
}

// Triangles in the loops, if their edges have room for them.
std::vector<std::uint32_t> BandMesh::fillLoops(const std::vector<std::vector<std::uint32_t>>& vLoops) {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    const std::vector<bool> vDead(mesh.numTriangles());
    LoopFiller filler(mesh, edges, vDead);
    std::map<VertexPair, std::size_t> mNewSides;
    std::vector<std::uint32_t> vNew;
    for (const std::vector<std::uint32_t>& vLoop : vLoops) {
        std::vector<std::uint32_t> vMade;
        if (!filler.fill(vLoop, vMade)) continue;
        std::vector<VertexPair> vSides;
        for (std::uint32_t side = 0; side < vMade.size(); ++side)
            vSides.emplace_back(std::minmax(vMade[side], vMade[nextSide(side)]));
        for (const VertexPair& ends : vSides) ++mNewSides[ends];
        const auto hasRoom = [&](const VertexPair& ends) { return edges.at(ends).size() + mNewSides[ends] <= 2; };
        if (std::ranges::all_of(vSides, hasRoom)) {
            ++numFilledLoops;
            vNew.insert(vNew.end(), vMade.begin(), vMade.end());
            vTiles.insert(vTiles.end(), vMade.size() / 3, none);
        } else {
            for (const VertexPair& ends : vSides) --mNewSides[ends];
        }
    }
    return vNew;
}

void BandMesh::fillGaps() {
    const std::vector<std::vector<std::uint32_t>> vLoops = findGaps();
    std::vector<std::uint32_t> vNew;
    if (!vLoops.empty()) vNew = fillLoops(vLoops);
    mesh.indices.insert(mesh.indices.end(), vNew.begin(), vNew.end());
    vBeyond.insert(vBeyond.end(), vNew.size(), Beyond::BAND);
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    edges.forEachEdge([&](const Edge& edge) {
        if (edge.size() == 1 && vBeyond[edge[0]] == Beyond::BAND) ++numGaps;
    });
}

}  // namespace QUOR_ZEF
