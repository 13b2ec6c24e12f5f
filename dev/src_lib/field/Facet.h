#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"

namespace QUOR_ZEF {

// A face is named by its dir, the direction in which it looks:
// 0 -x, 1 +x, 2 -y, 3 +y, 4 -z, 5 +z; dir ^ 1 is the opposite one.
constexpr int numDirs = 6;

enum FacetState { FACET_STATE_AREA = 1, FACET_STATE_BORDER = 2 };

// One way out of a face across one of its edges; see faceSteps.
struct FaceStep {
    int diagonalX, diagonalY, diagonalZ;  // the cell across the edge, in front of the face
    int diagonalDir;
    int sideX, sideY, sideZ;  // the cell beside this one; its face looks the same way
    int ownDir;               // the face of this cell beyond the edge

    constexpr uint64 diagonalStep() const { return stepOf(diagonalX, diagonalY, diagonalZ); }
    constexpr uint64 sideStep() const { return stepOf(sideX, sideY, sideZ); }

private:
    // Differences of packed codes add up modulo 2^64.
    static constexpr uint64 stepOf(int x, int y, int z) {
        return static_cast<uint64>(x) * stepX_RCD + static_cast<uint64>(y) * stepY_RCD +
               static_cast<uint64>(z) * stepZ_RCD;
    }
};

// By dir and edge; edge e runs between corners e and e+1 (modulo 4) of
// faceCorners. The surface turns inward to the diagonal cell if that exists,
// else goes on to the cell beside, else turns outward round its own cell. So two
// cells that touch along an edge only are joined through it.
extern const FaceStep faceSteps[numDirs][4];

// The corners of a face in their order around it; corner i of a cell has the
// offset (i >> 2, (i >> 1) & 1, i & 1).
constexpr int faceCorners[numDirs][4] = {{0, 1, 3, 2}, {4, 5, 7, 6}, {0, 4, 5, 1},
                                         {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 5, 7, 3}};

// An exposed face of a cell: the cell across it isn't in the set of cells.
// Ordered by (rcd, dir), which alone make two of them equal. A plain value.
class Facet {
public:
    uint64 rcd;     // the cell
    int dir;        // 0 to 5
    int component;  // a label: -1 none, 0 lower side, 1 upper side; see Component
    int state;      // a FacetState, that of the cell; -1 unknown

    bool operator==(const Facet& f) const { return rcd == f.rcd && dir == f.dir; }
    bool operator<(const Facet& f) const { return rcd != f.rcd ? rcd < f.rcd : dir < f.dir; }

    // The facet across edge 0 to 3, in the closed surface of the cells. vCells: all of
    // them, sorted; vVisibleFacets: all their facets, sorted, or an ASSEX fails.
    // Binary searches; a FacetIndex knows it faster.
    Facet* fetchNeigPtr(const std::vector<uint64>& vCells, std::vector<Facet>& vVisibleFacets, int edge) const;
    // The same without the facets: sets rcd and dir of out, and its state to -1.
    void getNeig(const std::vector<uint64>& vCells, int edge, Facet& out) const;
    // Appends the RCC of the four corners, in the order of faceCorners.
    void getCorners(std::vector<uint64>& vOut) const;
    std::array<uint64, 4> getCorners() const;
};

}  // namespace QUOR_ZEF
