#pragma once

#include <cmath>
#include <cstdint>

namespace QUOR_ZEF {

// A possible collapse of an edge onto one of its ends, in the queue of
// RMesh::reduce(). Millions of them.
struct RECandidate {
    // The cost of a collapse that must not happen.
    static constexpr double refused = 1.7976931348623157e308;

    double cost;             // when it was queued
    std::uint64_t sequence;  // the order of queuing
    std::uint32_t edge;      // its number
    std::int32_t dir;        // 0: p0 goes to p1; 1: the other way

    // Whether this one comes first: by cost, then by order of queuing. A cost that
    // is no number, from a vertex with nothing to turn, comes before all others.
    bool operator<(const RECandidate& other) const {
        const bool bFree = std::isnan(cost), bOtherFree = std::isnan(other.cost);
        if (bFree != bOtherFree) return bFree;
        if (!bFree && cost != other.cost) return cost < other.cost;
        return sequence < other.sequence;
    }
};

static_assert(sizeof(void*) != 8 || sizeof(RECandidate) == 24);

}  // namespace QUOR_ZEF
