#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "field/Corner.h"
#include "field/CornerStore.h"

namespace QUOR_ZEF {

// Replaces a val of 0, which would have no side: the smallest normal float.
constexpr float smallestVal = 1.17549435e-38F;

// Smooths the active corners of a store in Jacobi sweeps: a corner's new val is the
// mean of its own and its neighbours' vals by their weights, its new weight the mean
// of theirs; a border corner keeps its sign and stays within maxBorderVal.
//
// Works on arrays beside the store, since only active corners change and a sweep
// reads little else. Sums run over the corner itself, then its slots in order, in 32 bits.
//
// Memory: 16 bytes a corner and 32 an active one. Threads: one at a time; sweeps are parallel.
// Cost: about 20 ns for an active corner in a sweep.
class CornerSmoother {
public:
    // bUseWeights false: all corners count the same. maxBorderVal: world units.
    CornerSmoother(bool bUseWeightsOfCorners, float maxBorderValOfCorners)
        : bUseWeights(bUseWeightsOfCorners), maxBorderVal(maxBorderValOfCorners) {}

    const bool bUseWeights;
    const float maxBorderVal;

    // Sweeps over the store, which must be the same at each call: corners may have
    // been created since, but none of those that aren't active may have changed.
    // Fails an ASSEX if a corner has no val or weight yet, or a border corner the wrong sign.
    // Prints at most one line, when a weight or val is larger than clouds of small units give.
    void smooth(CornerStore& store, int numPasses);

private:
    struct Value {
        float product;  // weight * val
        float weight;
    };
    // Place 0 of the values is that of a missing neighbour, corner i has place i + 1.
    struct Active {
        std::uint32_t neigs[6];
        std::uint32_t self;
        CornerState state;
        std::uint8_t numNeigs;
    };
    struct Trace {
        bool bFound = false;
        float weight = 0.0F, val = 0.0F;
    };

    Value valueOf(const Corner& corner) const {
        return bUseWeights ? Value{corner.weight * corner.val, corner.weight} : Value{corner.val, 1.0F};
    }
    void addCorner(const Corner& corner);
    void refresh(const CornerStore& store);
    template <bool bLast>
    Trace sweep(CornerStore& store);
    template <bool bLast>
    Trace sweepRange(CornerStore& store, std::size_t begin, std::size_t end);
    float keepBorder(CornerState state, float newVal) const;

    std::vector<Active> vActive;                  // in order of creation
    std::vector<Value> vFrom{Value{0.0F, 0.0F}};  // what a sweep reads
    std::vector<Value> vTo{vFrom};                // what it writes; equal where not active
};

}  // namespace QUOR_ZEF
