#pragma once

#include <memory>
#include <vector>

#include "field/Component.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/drawnCells.h"

namespace zef_test {

// The largest connected piece of these cells.
inline std::vector<uint64> largestPiece(const std::vector<uint64>& vCells) {
    std::vector<std::vector<uint64>> vPieces;
    QUOR_ZEF::createCC_RCD(vCells, vPieces);
    return *std::max_element(vPieces.begin(), vPieces.end(), [](auto& a, auto& b) { return a.size() < b.size(); });
}

inline std::vector<uint64> drawnPiece(unsigned k) {
    return largestPiece(drawnCells(k));
}

// Of a surface one cell thick.
inline std::vector<uint64> thinned(const std::vector<uint64>& vCells, unsigned k) {
    const QUOR_ZEF::Calc calc = unitGrid();
    const auto vSamples = drawnSamples(vCells, k);
    std::vector<uint64> vKept, vDoomed;
    QUOR_ZEF::RemoveDecider_RCD(&vCells, &calc).pruneLayered(vSamples, vCells, vKept, vDoomed, false, true, 100);
    return vKept;
}

// A raw Component with a sample in each of its cells.
struct Piece {
    const QUOR_ZEF::Calc calc = unitGrid();
    std::vector<uint64> vCells, vArea, vBorder;
    QUOR_ZEF::Component::CodePoints vSamples;
    std::unique_ptr<QUOR_ZEF::Component> pComponent;

    explicit Piece(const std::vector<uint64>& vAll, bool bStopAtRims = false)
        : vCells(vAll), vSamples(drawnSamples(vAll, 1)) {
        QUOR_ZEF::RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
        pComponent = std::make_unique<QUOR_ZEF::Component>(vCells, vBorder, &vSamples, &calc, bStopAtRims);
    }

    std::vector<int> labels() const {
        std::vector<int> v;
        for (const QUOR_ZEF::Facet& f : pComponent->vVisibleFacets) v.push_back(f.component);
        return v;
    }
    std::size_t count(int component, int dir = -1) const {
        const auto& v = pComponent->vVisibleFacets;
        return static_cast<std::size_t>(std::count_if(v.begin(), v.end(), [&](const QUOR_ZEF::Facet& f) {
            return f.component == component && (dir < 0 || f.dir == dir);
        }));
    }
};

}  // namespace zef_test
