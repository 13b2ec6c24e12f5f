#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tiles/TileMesh.h"
#include "zef/TriangleMesh.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// The bands of all tiles on common vertices, and which of their triangles a joined mesh takes.
class BandMesh {
public:
    // Takes the bands apart; their vertices, triangles and sides are empty afterwards.
    BandMesh(const TilePlan& plan, std::vector<TileMesh>& vBands);

    // Takes triangles, see settleSeams(), and fills what gapes. Once.
    void settle();

    // The tile that owns the first vertex.
    std::uint32_t ownerOf(std::size_t triangle) const {
        return vOwners[*std::min_element(&mesh.indices[3 * triangle], &mesh.indices[3 * triangle] + 3)];
    }

    std::vector<SeamKey> vKeys;  // of the vertices, ascending
    // Vertices, and the triangles that are taken, turned as a tile has them, and what lies beyond their sides.
    TriangleMesh mesh;
    std::vector<Beyond> vBeyond;
    std::vector<std::uint32_t> vTiles;  // by triangle, which tile that is; none for fillings
    // Where a tile sees its own core beyond a side: the number of the piece, which go on from tile to tile, and
    // whether that tile has the triangle turned the other way.
    struct CoreSide {
        std::uint32_t triangle = 0, piece = 0;
        bool bAgainst = false;
    };
    std::vector<CoreSide> vCoreSides;
    std::uint32_t numPieces = 0;  // of all cores
    static constexpr std::uint32_t none = TileMesh::none;
    std::vector<std::vector<std::uint32_t>> vNumbers;  // by tile: the vertices here of those of its band
    std::size_t numDisputed = 0, numFilledLoops = 0, numGaps = 0;

private:
    using Tiles = std::vector<std::uint32_t>;  // ascending

    // A triangle as one tile has it, by number in the arrays of all views.
    struct View {
        std::array<std::uint32_t, 3> sorted;  // vertices
        std::uint32_t tile = 0, number = 0;

        auto operator<=>(const View&) const = default;
    };
    // The views of one triangle.
    struct Seen {
        std::size_t begin = 0, end = 0;
    };
    std::vector<std::uint32_t> vOwners;  // by vertex
    // The tiles whose bands a vertex lies in, in one array.
    std::vector<std::size_t> vFirstViewers;
    std::vector<std::uint32_t> vViewers;
    // Of all views.
    std::vector<std::uint32_t> vTriples;
    std::vector<Beyond> vViewBeyond;
    std::vector<std::uint32_t> vViewPieces;  // by side: of cores
    std::vector<std::uint32_t> vViewTiles;
    std::vector<View> vViews;
    std::vector<Seen> vSeen;

    void numberVertices(const TilePlan& plan, const std::vector<TileMesh>& vBands);
    void listViewers(const TilePlan& plan);
    void collectViews(std::vector<TileMesh>& vBands);
    std::span<const std::uint32_t> viewersOf(std::uint32_t vertex) const;
    bool isExpected(const Seen& seen, std::uint32_t tile) const;
    const View* viewOf(const Seen& seen, std::uint32_t tile) const;  // null if it does not see it
    bool isAgreed(const Seen& seen) const;
    std::uint32_t mergeViews(const Seen& seen);
    std::vector<std::uint32_t> choose(const std::vector<Seen>& vDisputed) const;
    Tiles rankTiles(std::span<const Seen> cluster) const;
    void take(const std::vector<std::uint32_t>& vOrder);
    bool areAlike(std::uint32_t a, std::uint32_t b) const;
    void listCoreSides(const std::vector<std::uint32_t>& vTakenAs);
    std::vector<std::vector<std::uint32_t>> findGaps() const;
    std::vector<std::uint32_t> fillLoops(const std::vector<std::vector<std::uint32_t>>& vLoops);
    void fillGaps();
};

}  // namespace QUOR_ZEF
