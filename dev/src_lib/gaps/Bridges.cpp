#include "gaps/Bridges.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "gaps/CellBox.h"
#include "geometry/freeFunctions.h"
#include "grid/CellBlocks.h"
#include "grid/codeSets.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = CodeMap::npos;
constexpr double flat = 0.5;           // sine of the widest angle between a bridge and the surfaces at its ends
constexpr double middleBand = 1.8;     // cells
constexpr double maxBend = 1.5;        // cells,
constexpr double maxBendSlope = 0.05;  // and of the length of a bridge
constexpr int minBorder = 20;          // cells, of a piece that counts
constexpr int minLength = 4;           // of a crack, in cells
constexpr std::size_t minBridgeCells = 1'000;

// How a flood from a piece came to a cell of the filling.
struct Mark {
    uint64 seed = 0;             // the border cell where it began
    std::uint32_t piece = none;  // whose number this is
    std::uint32_t from = none;   // the cell of the filling before, or none
    int numSteps = 0;
};

Vector3 between(uint64 a, uint64 b) {
    const GridCoords p = unpackRCD(a), q = unpackRCD(b);
    return {double(q.x) - double(p.x), double(q.y) - double(p.y), double(q.z) - double(p.z)};
}

double distance2(uint64 a, uint64 b) {
    const Vector3 v = between(a, b);
    return v * v;
}

// Those cells, given in order, for which isChosen(place in the list) holds. Parallel.
template <class IsChosen>
std::vector<uint64> chosenOf(const std::vector<uint64>& vCells, const IsChosen& isChosen) {
    return joinedChunks<uint64>(vCells.size(), minBridgeCells, [&](std::size_t begin, std::size_t end) {
        std::vector<uint64> v;
        for (std::size_t i = begin; i < end; ++i) {
            if (isChosen(i)) v.push_back(vCells[i]);
        }
        return v;
    });
}

// Floods the filling from all pieces at once. Each cell keeps the two that come first, with the
// nearest border cells that are told to it.
class Crossing {
public:
    Crossing(const std::vector<uint64>& vZero, const CodeMap& pieces)
        : vCells(vZero), zero(vZero), vMarks(vZero.size()) {
        seed(pieces);
        spread();
    }

    // The cells half way between two pieces, on straight bridges that go on with their surfaces.
    std::vector<uint64> findMiddles(const LocalPlanes& planes) const {
        return chosenOf(vCells,
                        [&](std::size_t i) { return isMiddle(vCells[i], vMarks[i]) && isFlat(vMarks[i], planes); });
    }
    double widthAt(uint64 rcd) const {
        const std::array<Mark, 2>& marks = vMarks[zero.indexOf(rcd)];
        return between(marks[0].seed, marks[1].seed).length();
    }
    // The ways from a cell back to both pieces.
    void appendBridge(uint64 rcd, std::vector<uint64>& vOut) const {
        const std::uint32_t middle = zero.indexOf(rcd);
        for (const Mark& end : vMarks[middle]) {
            std::uint32_t i = middle;
            for (int step = 0; step < end.numSteps && i != none; ++step) {
                vOut.push_back(vCells[i]);
                i = markOf(i, end.piece).from;
            }
        }
    }

private:
    using Entry = std::pair<std::uint32_t, Mark>;

    const Mark& markOf(std::uint32_t i, std::uint32_t piece) const { return vMarks[i][vMarks[i][0].piece != piece]; }

    void enter(std::uint32_t i, const Mark& mark) {
        for (Mark& own : vMarks[i]) {
            if (own.piece == mark.piece) {
                if (distance2(vCells[i], mark.seed) >= distance2(vCells[i], own.seed)) return;
            } else if (own.piece != none) {
                continue;
            }
            own = mark;
            vQueue.emplace_back(i, mark);
            return;
        }
    }
    void seed(const CodeMap& pieces) {
        const auto vFound = parallelChunkResults<std::vector<Entry>>(
            vCells.size(), minBridgeCells, [&](std::size_t begin, std::size_t end) {
                std::vector<Entry> v;
                for (std::size_t i = begin; i < end; ++i) {
                    const GridCoords c = unpackRCD(vCells[i]);
                    for (unsigned k = 0; k < 27; ++k) {
                        const uint64 rcd = packRCD(c.x + k % 3 - 1, c.y + k / 3 % 3 - 1, c.z + k / 9 - 1);
                        const std::uint32_t piece = pieces.find(rcd);
                        if (piece != none) v.emplace_back(i, Mark{rcd, piece, none, 1});
                    }
                }
                return v;
            });
        for (const std::vector<Entry>& v : vFound) {
            for (const Entry& entry : v) enter(entry.first, entry.second);
        }
    }
    void spread() {
        const std::vector<Neighbours> vNeighbours = findNeighbours();
        std::size_t next = 0;
        while (next < vQueue.size()) {
            const Entry entry = vQueue[next++];
            const Mark mark = {entry.second.seed, entry.second.piece, entry.first, entry.second.numSteps + 1};
            const Neighbours& part =
                *std::prev(std::upper_bound(vNeighbours.begin(), vNeighbours.end(), entry.first,
                                            [](std::uint32_t i, const Neighbours& n) { return i < n.firstCell; }));
            const std::size_t row = entry.first - part.firstCell;
            for (std::size_t i = part.vFirst[row]; i < part.vFirst[row + 1]; ++i) enter(part.vNeighbours[i], mark);
        }
    }

    // Of the cells from one on.
    struct Neighbours {
        std::size_t firstCell = 0;
        std::vector<std::size_t> vFirst = {0};  // by cell, one more than cells
        std::vector<std::uint32_t> vNeighbours;
    };
    // By rising cell. Cells are entered several times, and one after the other.
    std::vector<Neighbours> findNeighbours() const {
        return parallelChunkResults<Neighbours>(vCells.size(), minBridgeCells, [&](std::size_t begin, std::size_t end) {
            Neighbours part;
            part.firstCell = begin;
            for (std::size_t i = begin; i < end; ++i) {
                zero.forEachInMask(vCells[i], zero.mask27(vCells[i]),
                                   [&](std::uint32_t neighbour, int) { part.vNeighbours.push_back(neighbour); });
                part.vFirst.push_back(part.vNeighbours.size());
            }
            return part;
        });
    }

    static bool isMiddle(uint64 rcd, const std::array<Mark, 2>& marks) {
        if (marks[1].piece == none) return false;
        const Vector3 v0 = between(marks[0].seed, rcd), v1 = between(marks[1].seed, rcd);
        if (std::abs(v0.length() - v1.length()) > middleBand) return false;
        const Vector3 link = between(marks[0].seed, marks[1].seed);
        return cross(v0, link).length() <= (maxBend + maxBendSlope * link.length()) * link.length();
    }
    static bool isFlat(const std::array<Mark, 2>& marks, const LocalPlanes& planes) {
        const uint64 rcd0 = marks[0].seed, rcd1 = marks[1].seed;
        return planes.steepness(rcd0, rcd1).value_or(1.0) < flat && planes.steepness(rcd1, rcd0).value_or(1.0) < flat;
    }

    const std::vector<uint64>& vCells;
    CellBlocks_RCD zero;
    std::vector<std::array<Mark, 2>> vMarks;
    std::vector<Entry> vQueue;
};

// The longest edge of their box.
double extentOf(const std::vector<uint64>& vCells) {
    CellBox box(vCells.front());
    for (const uint64 rcd : vCells) box.add(rcd);
    return box.diagonal().getMaxAbsComponent() + 1.0;
}

// With the cells of the filling beside several of them: ways spread, and lines of single cells
// would not hold at their ends.
std::vector<uint64> withBeside(const std::vector<uint64>& vBridges, const std::vector<uint64>& vZero) {
    constexpr int minBeside = 2;
    const CellBlocks_RCD bridges(vBridges);
    return chosenOf(vZero, [&](std::size_t i) {
        const int numBeside = countCells(bridges.mask27(vZero[i]) & ~blockCentreBit);
        return numBeside >= minBeside || bridges.contains(vZero[i]);
    });
}

}  // namespace

Bridges::Bridges(const Filler& filler) : planes(*filler.pvGlobalRCDPoint) {
    gatherPieces(filler);
}

Bridges::Bridges(const Filler& filler, const std::vector<std::pair<uint64, Point3>>& vCoarsePoints)
    : bCoarse(true), planes(vCoarsePoints) {
    gatherPieces(filler);
}

void Bridges::gatherPieces(const Filler& filler) {
    const auto idOf = [](const AffiData& a) { return static_cast<std::uint32_t>(a.pComponent->id); };
    std::vector<int> vNumBorder(filler.vRawComponents.size());
    for (const AffiData& a : filler.vAffiData) ++vNumBorder[idOf(a)];
    for (const AffiData& a : filler.vAffiData) {
        if (vNumBorder[idOf(a)] >= minBorder) pieces.insert(cellOf(a.rcd), idOf(a));
    }
}

std::vector<uint64> Bridges::find(const Component& component, const std::vector<uint64>& vZero) const {
    CodeMap ownPieces;
    std::uint32_t first = none;
    bool bSeveral = false;
    for (const uint64 rcd : component.vBorderRCD) {
        const std::uint32_t piece = pieces.find(cellOf(rcd));
        if (piece == none) continue;
        ownPieces.insert(cellOf(rcd), piece);
        if (first == none) first = piece;
        bSeveral = bSeveral || piece != first;
    }
    if (!bSeveral) return {};
    const Crossing crossing(vZero, ownPieces);
    std::vector<std::vector<uint64>> vCracks;
    createCC_RCD(crossing.findMiddles(planes), vCracks);
    std::vector<uint64> vBridges;
    for (const std::vector<uint64>& vMiddles : vCracks) {
        double width = 0.0;
        for (const uint64 rcd : vMiddles) width = std::max(width, crossing.widthAt(rcd));
        if (extentOf(vMiddles) < std::max<double>(bCoarse ? minLength / 2 : minLength, width / 2.0)) continue;
        for (const uint64 rcd : vMiddles) crossing.appendBridge(rcd, vBridges);
    }
    sortUniqueMT(vBridges);
    return withBeside(vBridges, vZero);
}

}  // namespace QUOR_ZEF
