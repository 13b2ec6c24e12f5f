#include "field/FacetIndex.h"

#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minCellChunk = 10000;

// A FaceStep with the block indices of its cells.
struct BlockStep {
    int diagonal, diagonalDir;
    int side, ownDir;
};

constexpr int blockIndex(int dx, int dy, int dz) {
    return (dz + 1) * 9 + (dy + 1) * 3 + dx + 1;
}

BlockStep blockStepOf(int dir, int edge) {
    const FaceStep& s = faceSteps[dir][edge];
    return {blockIndex(s.diagonalX, s.diagonalY, s.diagonalZ), s.diagonalDir, blockIndex(s.sideX, s.sideY, s.sideZ),
            s.ownDir};
}

using BlockSteps = std::array<std::array<BlockStep, 4>, numDirs>;

const BlockSteps& blockSteps() {
    static const BlockSteps steps = [] {
        BlockSteps s{};
        for (int dir = 0; dir < numDirs; ++dir) {
            for (int edge = 0; edge < 4; ++edge) {
                s[static_cast<std::size_t>(dir)][static_cast<std::size_t>(edge)] = blockStepOf(dir, edge);
            }
        }
        return s;
    }();
    return steps;
}

unsigned exposedFaces(std::uint32_t mask) {
    unsigned faces = 0;
    for (std::size_t dir = 0; dir < numDirs; ++dir) faces |= (~mask >> blockFace[dir] & 1) << dir;
    return faces;
}

}  // namespace

FacetIndex::FacetIndex(std::span<const uint64> vCells)
    : blocks(vCells), vMasks(vCells.size()), vFaces(vCells.size()), vFirst(vCells.size() + 1) {
    blocks.forEachMask([&](std::uint32_t cell, std::uint32_t mask) {
        vMasks[cell] = mask;
        vFaces[cell] = static_cast<std::uint8_t>(exposedFaces(mask));
    });
    uint64 numFacets = 0;
    for (std::size_t cell = 0; cell < vFaces.size(); ++cell) {
        numFacets += static_cast<uint64>(countCells(vFaces[cell]));
        vFirst[cell + 1] = static_cast<std::uint32_t>(numFacets);
    }
    ASSEX(numFacets < npos);
}

std::uint32_t FacetIndex::neighbour(uint64 rcd, int dir, int edge) const {
    const FaceStep& step = faceSteps[dir][edge];
    const std::uint32_t diagonal = cellOf(rcd + step.diagonalStep());
    if (diagonal != npos) return facetOf(diagonal, step.diagonalDir);
    const std::uint32_t side = cellOf(rcd + step.sideStep());
    if (side != npos) return facetOf(side, dir);
    return facetOf(cellOf(rcd), step.ownDir);
}

std::vector<std::array<std::uint32_t, 4>> FacetIndex::getNeighbours(std::span<const uint64> vCells) const {
    std::vector<std::array<std::uint32_t, 4>> vNeighbours(numFacets());
    const BlockSteps& steps = blockSteps();
    parallelChunks(vCells.size(), minCellChunk, [&](std::size_t begin, std::size_t end) {
        std::array<std::uint32_t, 27> around;
        for (std::size_t i = begin; i < end; ++i) {
            const auto cell = static_cast<std::uint32_t>(i);
            if (vFaces[cell] == 0) continue;
            const std::uint32_t mask = vMasks[cell];
            blocks.forEachInMask(vCells[cell], mask,
                                 [&](std::uint32_t other, int at) { around[static_cast<std::size_t>(at)] = other; });
            std::uint32_t facet = vFirst[cell];
            for (int dir = 0; dir < numDirs; ++dir) {
                if (!isExposed(cell, dir)) continue;
                for (std::size_t edge = 0; edge < 4; ++edge) {
                    const BlockStep& step = steps[static_cast<std::size_t>(dir)][edge];
                    std::uint32_t& n = vNeighbours[facet][edge];
                    if (mask >> step.diagonal & 1) {
                        n = facetOf(around[static_cast<std::size_t>(step.diagonal)], step.diagonalDir);
                    } else if (mask >> step.side & 1) {
                        n = facetOf(around[static_cast<std::size_t>(step.side)], dir);
                    } else {
                        n = facetOf(cell, step.ownDir);
                    }
                }
                ++facet;
            }
        }
    });
    return vNeighbours;
}

}  // namespace QUOR_ZEF
