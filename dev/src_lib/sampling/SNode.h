#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/types.h"
#include "geometry/Plane.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// One grid node of the sampling: the position that stands for a cell, and the
// plane of the surface there. A plain record, owned by its Smooth; copy what is
// to outlive it.
struct SNode {
    // The area of a node whose plane is trusted.
    static constexpr double trustedArea = 1.7976931348623157e308;

    uint64 rcd = 0;        // the node's cell; several nodes can share one
    Point3 smoothedPoint;  // current position and colour; smoothing can take it out of the cell
    Plane plane;           // means something if bHasPlane
    double area = 0.0;     // squared world units: the fan area of the fit, trustedArea, or 0 until fitted
    uint64 firstLink = 0;  // where the node's links begin in Smooth::vLinks
    int numLinkedNodes = 0;
    int numInputPoints = 0;      // points merged here; 0 if made between neighbours, -1 if made by smoothing
    std::uint32_t id = 0;        // number in order of creation, which settles ties
    bool bKeepPosition = false;  // the sample must stay at smoothedPoint
    bool bHasPlane = false;

    bool isTrusted() const { return area == trustedArea; }
    // The plane's normal; its sign is open. Without a plane it fails an ASSEX.
    const Vector3& getNNV() const;
    // The nearest point of the plane, without colour. Without a plane it fails an ASSEX.
    Point3 projection(const Point3& p) const;
};

// Some nodes of a Smooth, by their positions in its vector. A view: it owns
// neither, and is good while both stay as they are.
class LinkedNodes {
public:
    LinkedNodes(const SNode* pAllNodes, std::span<const std::int32_t> vPositions)
        : pNodes(pAllNodes), vIndices(vPositions) {}

    std::size_t size() const { return vIndices.size(); }
    const SNode* operator[](std::size_t i) const { return pNodes + vIndices[i]; }
    // Where node i stands in the vector of all nodes.
    std::int32_t position(std::size_t i) const { return vIndices[i]; }

private:
    const SNode* pNodes;
    std::span<const std::int32_t> vIndices;
};

}  // namespace QUOR_ZEF
