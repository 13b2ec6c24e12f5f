#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "field/ConnectionStruct.h"
#include "field/CornerSmoother.h"
#include "field/CornerStore.h"
#include "field/Facet.h"
#include "field/FacetIndex.h"
#include "frame/types.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// A piece of the cell set, seen by its voxel surface. Around a sampled surface the
// cells form a band with two large sheets of facets, one on each side, and a
// seam between them where samples are missing.
//
// A raw Component is one connected piece. Construction labels its facets: 0 lower
// side, 1 upper side, -1 neither. A merged Component takes over a group of raw ones
// whose sides agree, grows a signed distance from the seam into the gap and yields
// points where it passes through zero.
//
// Labels while construction runs: -1 none; 2 and above raw groups; -k the far side
// of a thin wall from a facet of group k.
//
// Threads: one at a time. Construction and run() use the task pool.
class Component {
public:
    using CodePoints = std::vector<std::pair<uint64, Point3>>;

    int numGrowSteps = -1;  // -1 in a raw Component
    // How far from the zero level corners may lie from which the field grows, in steps. Unless
    // that is anywhere, corners also rest where growth has ended, instead of being smoothed on.
    int maxSourceSteps = CornerStore::anywhere;
    // If set: after numFreeSteps steps the field grows on in some cells only. Told the cells that a CoarseField
    // gives for the end of growth; returns the coarse cells in which to grow, sorted.
    std::function<std::vector<uint64>(const Component&, const std::vector<uint64>&)> chooseGrowth;
    int numFreeSteps = 0;
    // The box of growth, in cells.
    int minX = 0x7fffffff, minY = 0x7fffffff, minZ = 0x7fffffff;
    int maxX = 0, maxY = 0, maxZ = 0;
    int id = -1;                            // place among those of its kind, set by the Filler; orders go by it
    const CodePoints* pvRemainingRCDPoint;  // the run's sample of each cell, sorted; not owned
    const Calc* pCalc;                      // not owned
    CornerStore cornerStore;                // empty before run()
    bool bStopAtRims = false;               // in raw ones: labels do not run round rims that have no border cell
    float cellSize;                         // along x, world units
    float maxBorderVal = 0.0F;              // half of cellSize; set in merged ones only
    bool bOriented = false;                 // true in merged ones
    std::vector<uint64> vCellRCD;           // all cells, sorted
    std::vector<uint64> vBorderRCD;         // the border cells, sorted
    std::vector<uint64> vAreaRCD;           // the others, sorted
    std::vector<uint64> vNonSideRCD;        // cells with an unlabelled facet, sorted; filled by assignFirstDistances()
    std::vector<Facet> vVisibleFacets;      // all facets, sorted
    FacetIndex facetIndex;                  // of vCellRCD; its numbers are places in vVisibleFacets
    std::vector<ConnectionStruct*> vConnections;  // not owned, the Filler frees them

    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    // ---- Component.cpp: set-up, questions and flips

    // Raw: vCells, sorted, and those of them at the border, sorted. Labels the sides. bStop: bStopAtRims.
    // With fewer than two groups of facets it writes a line and has no sides.
    Component(const std::vector<uint64>& vCells, const std::vector<uint64>& vBorder, const CodePoints* pvRCDPoint,
              const Calc* pGrid, bool bStop = false);
    // Merged: moves the lists and facets, labels and flips included, out of the
    // group's raw Components, which have no further use. Labels nothing by itself.
    Component(const std::vector<Component*>& vGroup, int numSteps, const CodePoints* pvRCDPoint, const Calc* pGrid);

    // Facets by dir and side in the 27 cells around a cell. About 1 microsecond.
    void getOrientationCount(uint64 rcd, int aLower[], int aUpper[]) const;
    // Swaps the labels 0 and 1 and negates the score of each of vConnections once.
    // Sorts those by their ids, and leaves one of each.
    void flipSides();
    bool isOriented() const { return bOriented; }
    void setOriented() { bOriented = true; }

    // ---- Component_sides.cpp: the labelling

    // Fills vVisibleFacets and facetIndex.
    void cc_createFacets();
    void cc_labelSides();
    // Floods the facets of interior cells into groups from 2 on, without running round
    // a thin wall. Returns the first number not used.
    int cc_createFacetComponents();
    // Gives the facets of neither group to the two groups, then opens the seam.
    void cc_colorizeRest(int lowerIndex, int upperIndex);
    // Labels by majority among the facets of equal dir in the 3x3x3 block, in sweeps
    // over the list; drops from it what is labelled. minCount: 1 to 8. bResolve: the larger count wins
    // where both labels are seen.
    void cc_colorize_27(std::vector<Facet*>& vList, int lowerIndex, int upperIndex, int minCount, bool bResolve);
    // Labels best-first by cc_getWeight, down to minWeight. Sorts the list and
    // returns the number of facets labelled, which stay in the list.
    int cc_colorize_w(std::vector<Facet*>& vList, int lowerIndex, int upperIndex, double minWeight);
    // The side that a facet adjoins across its edges, and how firmly; (-99, 0) if open.
    std::pair<int, double> cc_getWeight(const Facet* pFacet, int lowerIndex, int upperIndex) const;
    // Cuts facets of the list out of the sides, best-first, until none touches another label.
    void cc_makeThinBorder(std::vector<Facet*>& vList);
    // How much the facet belongs in the seam; 0 if it touches no other label.
    double cc_getThinWeight(const Facet* pFacet) const;

    // ---- Component_grow.cpp: the signed distance

    // Grows the field for up to numGrowSteps steps (above 0, or an ASSEX fails) and
    // sets vOut to the new points, sorted, one a cell. True. To be called once, on a
    // merged Component. onTicks: told of numGrowthTicks() ticks, or fewer, at first of none.
    bool run(CodePoints& vOut, const std::function<void(uint64)>& onTicks = {});
    uint64 numGrowthTicks() const;
    // Adds one layer of corners. True if no two neighbours of opposite sign met.
    bool inflateOneStep2();
    // Smooths the active corners, all at a time in each pass. Between calls active corners may
    // be created, but nothing else may change them.
    void lowPass2(int numPasses, bool bUseWeights);

    // ---- Component_strips.cpp: the first distances

    // Sets up the corners of all facets that growth can reach, with distances on both sides of the seam.
    void assignFirstDistances();
    // The facets of a side, given in order, up to depth steps from the seam, sorted and unique.
    void getBorderStrip(const std::vector<Facet*>& vFacets, std::vector<Facet*>& vOut, int depth);
    // Distances to the samples of the cells of a strip, given in order, with this sign.
    void assignDistancesToSideStrip(const std::vector<Facet*>& vStrip, double sign);

    // ---- Component_zero.cpp: the zero level

    // Sets vOut to the mean crossing points of cells outside vCellRCD, sorted.
    void getZeroRCD(CodePoints& vOut);

private:
    // The listed facets, with how often each side is seen by them.
    struct CubeNeighbours {
        std::vector<std::uint32_t> vRowOfFacet;            // npos for facets that aren't listed
        std::vector<std::uint32_t> vFirst;                 // by row, one more than rows: places in vRows
        std::vector<std::uint32_t> vRows;                  // listed facets of equal dir in the block around
        std::vector<std::array<std::uint8_t, 2>> vCounts;  // by row: facets of equal dir with the lower, upper label
        std::vector<std::uint8_t> vBeside;                 // by facet: 0 if no edge leads to either label; unlisted too
    };

    class MajoritySweeps;

    std::uint32_t numberOf(const Facet* pFacet) const {
        return static_cast<std::uint32_t>(pFacet - vVisibleFacets.data());
    }
    // The facet across an edge.
    const Facet& edgeNeighbour(const Facet* pFacet, std::size_t edge) const;
    std::vector<std::uint32_t> findThinWalls() const;
    void flood(std::uint32_t seed, int group, const std::vector<std::uint32_t>& vThinWall,
               std::vector<std::uint32_t>& vQueue);
    std::vector<std::pair<int, int>> countGroups(int endLabel) const;
    bool stopAtLeaks(int endLabel);
    bool isLeak(std::uint32_t cell, const std::array<int, 2>& sides) const;
    bool hasLabelBeside(std::uint32_t cell, int dir, int label) const;
    bool isOnSheet(uint64 rcd) const;
    void nameSides(int lowerIndex, int upperIndex);
    void mendPinholes();
    void gatherCubeNeighbours(const std::vector<Facet*>& vList, int lowerIndex, int upperIndex);
    void assignSide(Facet* pFacet, const std::array<int, 2>& labels, std::size_t side);
    bool mayHaveWeight(const Facet* pFacet) const { return cube.vBeside.empty() || cube.vBeside[numberOf(pFacet)]; }
    void sortFacets(std::vector<Facet*>& vList) const;
    int numOtherLabels(const Facet* pFacet) const;

    // Labelling only, freed when the sides are known: every facet's neighbours
    // across its edges, and the neighbours of listed facets in their blocks.
    std::vector<std::array<std::uint32_t, 4>> vEdgeNeighbours;
    CubeNeighbours cube;

    // Growth only.
    bool hasSeam() const;
    void layGrowthBox();
    bool isInGrowthBox(uint64 rcc) const;
    bool limitGrowth(int numSteps);
    std::vector<Facet*> getFacetsInReach(std::initializer_list<const std::vector<Facet*>*> strips);
    std::vector<std::uint32_t> getStripSeeds(const std::vector<Facet*>& vFacets) const;
    std::vector<std::vector<std::uint32_t>> findBeside(const std::vector<std::uint32_t>& vFacets,
                                                       const std::vector<bool>& vReached) const;
    void createStripCorners(const std::vector<uint64>& vLowerStripRCC, const std::vector<uint64>& vUpperStripRCC);
    std::vector<const Point3*> getStripSamples(const std::vector<Facet*>& vStrip) const;
    Point3 getCornerPosition(uint64 rcc) const;
    Point3 getCrossing(const Corner& source, const Corner& target) const;

    std::unique_ptr<CellBlocks_RCD> pChosen;    // coarse cells to grow in; null for all
    std::unique_ptr<CornerSmoother> pSmoother;  // made by the first lowPass2()
};

}  // namespace QUOR_ZEF
