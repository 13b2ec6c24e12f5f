#pragma once

#include <map>
#include <vector>

#include "gaps/Filler.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/drawnCells.h"

namespace zef_test {

using Codes = std::vector<uint64>;
using CodePoints = QUOR_ZEF::Filler::CodePoints;

// Cells with one sample each, sorted into border and area.
struct Scene {
    const QUOR_ZEF::Calc calc = unitGrid();
    Codes vCells, vArea, vBorder;
    CodePoints vSamples;

    void add(double x, double y, double z) {
        const QUOR_ZEF::Point3 p(x, y, z);
        mSamples.emplace(calc.getRCD(p), p);
    }
    // Thinned, as a cloud hands them over.
    void finish() {
        vSamples.assign(mSamples.begin(), mSamples.end());
        Codes vKept, vDoomed;
        vCells = QUOR_ZEF::codesOf(vSamples);
        QUOR_ZEF::RemoveDecider_RCD decider(&vCells, &calc);
        decider.pruneLayered(vSamples, vCells, vKept, vDoomed, false, true, 1);
        decider.classify(vArea, vBorder);
        QUOR_ZEF::keepListed(vDoomed, vSamples, false);
        vCells = QUOR_ZEF::codesOf(vSamples);
    }
    QUOR_ZEF::Filler makeFiller(int numGrowSteps) { return {numGrowSteps, vBorder, vArea, vSamples, &calc}; }

private:
    std::map<uint64, QUOR_ZEF::Point3> mSamples;
};

// Holes, cracks, sheets face to face, walls at right angles, strewn plates and half balls, in turn.
inline void addDrawnGaps(Scene& scene, unsigned k) {
    Draws draws(k);
    const unsigned size = 1 + k / 6;
    for (unsigned i = 0; i < 40; ++i) {
        for (unsigned j = 0; j < 36; ++j) {
            const double x = 200 + i + draws.between(0.2, 0.8), y = 200 + j + draws.between(0.2, 0.8);
            const double z = 200 + draws.between(0, 1) * (size % 3) + 0.125 * (k % 4) * i;
            const unsigned kind = k % 6;
            const bool bHole = i % 13 > 3 && i % 13 < 6 + 2 * size && j % 18 > 4 && j % 18 < 7 + 3 * size;
            if (kind == 0 && !bHole) scene.add(x, y, z);
            if (kind == 1) scene.add(i < 20 ? x : x + 2 * size + 1, y, i < 20 ? z : z + size / 2.0);
            if (kind == 2 && i < 24) scene.add(x, y, z);
            if (kind == 2 && i < 24) scene.add(x + size, y, z + 2 + 4 * size + 0.0625 * j);
            if (kind == 3) scene.add(i < 20 ? x : 200 - 1.0 - size, y, i < 20 ? 200.1 : 180.5 + i + size);
            if (kind == 4 && draws.below(30) == 0) {
                const unsigned nx = 1 + draws.below(6), ny = 1 + draws.below(6);
                const unsigned place = 40 * size;
                const double px = 200.5 + draws.below(place), py = 200.5 + draws.below(place);
                const double pz = 200.5 + draws.below(place);
                for (unsigned n = 0; n < nx * ny; ++n) {
                    const unsigned row = n / nx;
                    scene.add(px + n % nx, py + row, pz);
                }
            }
            const double dx = x - 220, dy = y - 218, r2 = (8.0 + 2 * size) * (8.0 + 2 * size) - dx * dx - dy * dy;
            if (kind == 5 && r2 > 0 && !(bHole && i > 20)) {
                scene.add(x, y, 200 + std::sqrt(r2));
                if (size != 2) scene.add(x, y, 198 - std::sqrt(r2));
            }
        }
    }
}

}  // namespace zef_test
