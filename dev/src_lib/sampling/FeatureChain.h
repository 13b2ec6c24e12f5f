#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// What the edge of a single triangle has instead of an angle.
constexpr double borderEdgeValue = 9999.0;

// An edge where the surface bends or ends.
struct FeatureRecord {
    double value;               // the dihedral angle in degrees, or borderEdgeValue
    const Point3 *pSrc, *pTrg;  // not owned
};

// A run of feature edges, each of which starts where the one before ends.
struct FeatureChain {
    std::size_t first;  // of its edges in the order of all
    std::size_t num;
    double value;  // the mean of its edges' values
};

// Puts feature edges into long, straight runs. An edge goes on in the straightest
// edge at its end, by up to 60 degrees; border edges join only border edges.
// Results depend on the order of the records, not on addresses.
// One thread at a time; O(n log n), and a look at all edges around an end per step.
class FeatureChains {
public:
    // vRecords: ascending by value, so that chains start at the sharpest edges; copied.
    explicit FeatureChains(const std::vector<FeatureRecord>& vRecords);

    // Ascending by value, equal ones in the order of making.
    const std::vector<FeatureChain>& getChains() const { return vChains; }

    // The edges chain by chain, each with its ends in the direction of its chain.
    void rewrite(std::vector<FeatureRecord>& vRecords) const;

private:
    struct FeatureEdge {
        FeatureRecord record;   // its ends are swapped when a chain asks for it
        bool bSwapped = false;  // against the input
        bool bChained = false;
    };
    // A point, as a number, and the slot of an edge's end there: twice the edge's
    // number, plus one for its target.
    using End = std::pair<uint64, uint64>;

    void sortEnds();
    void makeChain(std::size_t seed);
    // Add one edge behind or before the last edge of the run; false if none was added.
    bool growBack(std::vector<std::size_t>& vRun);
    bool growFront(std::vector<std::size_t>& vRun);
    void join(std::size_t next, bool bSwap, std::vector<std::size_t>& vRun);
    std::size_t straightest(std::size_t edge, bool bBack) const;
    std::span<const End> endsAt(std::size_t edge, bool bTarget) const;

    std::vector<FeatureEdge> vEdges;
    std::vector<End> vEnds;           // by point, then slot
    std::vector<std::size_t> vFirst;  // by slot: where the ends at its point begin
    std::vector<std::size_t> vOrder;  // the edges, chain by chain
    std::vector<FeatureChain> vChains;
};

}  // namespace QUOR_ZEF
