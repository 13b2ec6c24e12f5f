#include "field/Facet.h"

#include <algorithm>

#include "frame/tools.h"
#include "grid/codeSets.h"

namespace QUOR_ZEF {

const FaceStep faceSteps[numDirs][4] = {
    {{-1, -1, 0, 3, 0, -1, 0, 2}, {-1, 0, 1, 4, 0, 0, 1, 5}, {-1, 1, 0, 2, 0, 1, 0, 3}, {-1, 0, -1, 5, 0, 0, -1, 4}},
    {{1, -1, 0, 3, 0, -1, 0, 2}, {1, 0, 1, 4, 0, 0, 1, 5}, {1, 1, 0, 2, 0, 1, 0, 3}, {1, 0, -1, 5, 0, 0, -1, 4}},
    {{0, -1, -1, 5, 0, 0, -1, 4}, {1, -1, 0, 0, 1, 0, 0, 1}, {0, -1, 1, 4, 0, 0, 1, 5}, {-1, -1, 0, 1, -1, 0, 0, 0}},
    {{0, 1, -1, 5, 0, 0, -1, 4}, {1, 1, 0, 0, 1, 0, 0, 1}, {0, 1, 1, 4, 0, 0, 1, 5}, {-1, 1, 0, 1, -1, 0, 0, 0}},
    {{0, -1, -1, 3, 0, -1, 0, 2}, {1, 0, -1, 0, 1, 0, 0, 1}, {0, 1, -1, 2, 0, 1, 0, 3}, {-1, 0, -1, 1, -1, 0, 0, 0}},
    {{0, -1, 1, 3, 0, -1, 0, 2}, {1, 0, 1, 0, 1, 0, 0, 1}, {0, 1, 1, 2, 0, 1, 0, 3}, {-1, 0, 1, 1, -1, 0, 0, 0}}};

Facet* Facet::fetchNeigPtr(const std::vector<uint64>& vCells, std::vector<Facet>& vVisibleFacets, int edge) const {
    Facet q{};
    getNeig(vCells, edge, q);
    const auto q_it = std::lower_bound(vVisibleFacets.begin(), vVisibleFacets.end(), q);
    ASSEX(q_it!=vVisibleFacets.end());
    ASSEX(*q_it==q);
    return &*q_it;
}

void Facet::getNeig(const std::vector<uint64>& vCells, int edge, Facet& out) const {
    const FaceStep& step = faceSteps[dir][edge];
    out.state = -1;
    out.rcd = rcd + step.diagonalStep();
    out.dir = step.diagonalDir;
    if (containsCode(vCells, out.rcd)) return;
    out.rcd = rcd + step.sideStep();
    out.dir = dir;
    if (containsCode(vCells, out.rcd)) return;
    out.rcd = rcd;
    out.dir = step.ownDir;
}

void Facet::getCorners(std::vector<uint64>& vOut) const {
    const std::array<uint64, 4> corners = getCorners();
    vOut.insert(vOut.end(), corners.begin(), corners.end());
}

std::array<uint64, 4> Facet::getCorners() const {
    std::array<uint64, 4> corners;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto corner = static_cast<uint64>(faceCorners[dir][i]);
        corners[i] = rcd + packRCD(corner >> 2, corner >> 1 & 1, corner & 1);
    }
    return corners;
}

}  // namespace QUOR_ZEF
