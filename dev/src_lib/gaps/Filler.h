#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "field/Component.h"
#include "field/ConnectionStruct.h"
#include "frame/types.h"
#include "grid/Calc.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// A border cell on its way to a partner in another Component.
struct AffiData {
    uint64 rcd;
    Component* pComponent;  // raw; not owned
    float dist;             // the smallest distance found to a cell of another Component, in cells
};

// Closes the gaps of a cleaned cell set: splits the cells into connected pieces,
// finds out which of them belong to one surface, makes their sides agree, merges
// them, and lets each merged Component grow its field.
//
// Raw Components are numbered by their smallest code, and orders go by that number and by code.
//
// Lives for one fill(). Threads: one at a time; sorts and the field use the pool.
class Filler {
public:
    using CodePoints = std::vector<std::pair<uint64, Point3>>;
    using AffiPairs = std::vector<std::pair<AffiData*, AffiData*>>;

    // vBorderRCD, vAreaRCD: all cells, each in one of them, in any order; the
    // border is sorted in place, both lists and vRCDPoint (sorted, the sample of each
    // cell) are borrowed. Fails an ASSEX if the numbers do not add up.
    Filler(int givenGrowSteps, std::vector<uint64>& vBorderRCD, const std::vector<uint64>& vAreaRCD,
           const CodePoints& vRCDPoint, const Calc* pGivenCalc);
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

    // Appends the new points: none in a cell of the cloud, one a cell, sorted as a
    // whole. To be called once. A growth step adds a layer of corners on both sides of the
    // strips round gaps and rims: some 75 bytes, and 0.1 to 0.15 microseconds in each later step.
    void fill(CodePoints& vOut);

    // The steps of fill(), in this order.

    // All of them but the last, which may also be called alone.
    void joinPieces();
    // One raw Component for each connected piece, side by side.
    void createComponents();
    // For each border cell the nearest one of another Component, less than maxDist
    // cells away (in steps of 5), as pairs by number and code, sorted, each once, if no
    // end has a partner that is nearer by 3 cells or more. Small pieces, of up to
    // 4 cells, have partners only within 5 times the cell size, in world units.
    void determineAffiliation(int maxDist, AffiPairs& vPairs);
    // Leaves out the pairs of two Components of which most stand steeply on the surfaces at both
    // ends: they lie face to face, and what would join them runs round their rims.
    void dropStacked(AffiPairs& vPairs) const;
    // Flips Components until the sides agree as far as the pairs tell, the most certain
    // ones first. One without evidence is flipped.
    void orient(const AffiPairs& vPairs);
    // One merged Component for each group that hangs together by connections.
    void mergeComponents();
    // The new points of all merged Components, which are freed. They grow side by side.
    void growComponents(CodePoints& vOut);

    int numGrowSteps;
    // How far from the zero level corners may lie from which the field grows, in steps.
    // Smoothing holds the distances down far from the surface too, so the limit on them alone
    // lets the field grow thick over both sides of sheets, where it decides little.
    int maxSourceSteps = CornerStore::anywhere;
    bool bKeepStackedApart = false;  // see dropStacked()
    bool bStopAtRims = false;        // see Component
    bool bUneven = false;            // parts of the scan are sparse; progress only depends on it
    bool bStepsWithinSize = false;   // no more growth steps than a hole of the size of a Component takes
    // For all merged Components. Called on several threads.
    std::function<std::vector<uint64>(const Component&, const std::vector<uint64>&)> chooseGrowth;
    int numFreeSteps = 0;
    // If set, and there are several pieces: changes the new points of each merged Component,
    // sorted, before they are put together. Called on several threads.
    std::function<void(const Component&, CodePoints&)> adapt;
    std::vector<uint64>* pvGlobalBorderRCD;                          // not owned, sorted
    std::vector<uint64> vGlobalAreaRCD;                              // sorted
    const CodePoints* pvGlobalRCDPoint;                              // not owned, sorted
    const Calc* pCalc;                                               // not owned
    std::vector<std::unique_ptr<Component>> vRawComponents;          // by number
    std::vector<std::unique_ptr<Component>> vComponents;             // merged
    std::vector<AffiData> vAffiData;                                 // of all border cells, by number and code
    std::vector<std::unique_ptr<ConnectionStruct>> vAllConnections;  // in order of discovery

private:
    void collectNearest(int maxDist, AffiPairs& vPairs);
    void gatherEvidence(const AffiPairs& vPairs);
    std::vector<Component*> takeGroup(Component* pFirst, std::vector<bool>& vVisited) const;
    void appendNew(const CodePoints& vLocal, CodePoints& vOut) const;
};

}  // namespace QUOR_ZEF
