#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "flat/arrays.h"
#include "mend/JoinedSides.h"

namespace QUOR_ZEF {

struct WindowSize {
    std::uint32_t numRings;  // of triangles around the middle
    std::size_t maxClashes;  // sides, about; where they are crowded, the window ends earlier
    bool bInward;            // whether the second orientation is tried too
};

// Triangles around a side that clashes, of which some are turned so that fewer clash.
//
// The window has an orientation of its own, flooded from its middle across sides that clash too. What lies around it
// stays as it is, and so do its triangles where that flood meets itself the wrong way round. Hence two orientations
// are given at its bounds, and a least cut parts their triangles: the fewest sides clash that can, and of as many the
// shorter ones. The second orientation is flooded from the outermost ring inward, and meets itself near the middle;
// sides there are not held, but counted afterwards, since where a band with half a turn is glued into a hole each
// seam crosses each such place. What comes of it depends on the window alone.
//
// Memory: 4 bytes a triangle of the mesh, and 80 of the window. One thread at a time.
class SeamWindow {
public:
    SeamWindow(const TriangleMesh& mesh_, const JoinedSides& sides_);

    // Whether anything was turned. A window of 60,000 triangles has fewer rings. Some ten times linear in the window.
    bool improveAround(std::uint32_t side, const WindowSize& size);
    // Of that window, from the middle on.
    std::span<const std::uint32_t> triangles() const { return vTriangles; }
    // Of the first rings of so many.
    std::span<const std::uint32_t> innerTriangles(std::uint32_t share) const;

private:
    static constexpr std::uint32_t none = JoinedSides::none;
    enum class Bound : std::uint8_t { FREE, STAYS, TURNS };

    const TriangleMesh& mesh;
    const JoinedSides sides;
    std::vector<std::uint32_t> vPlace;  // of each triangle of the mesh, in the window, or none

    // Of each triangle of the window.
    std::vector<std::uint32_t> vTriangles;
    std::vector<std::uint8_t> vLike;  // the orientation of the window
    std::vector<std::uint32_t> vRing;
    std::vector<Bound> vBound;
    std::vector<std::uint32_t> vLevel;  // steps of the flow from those that turn, or none
    std::vector<std::uint8_t> vNext;    // the side to be tried next
    // Of each slot; 3 i + k is side k of triangle i.
    std::vector<std::uint32_t> vBack;  // the slot across, or none
    std::vector<std::int64_t> vRoom;   // how much more can flow out there
    std::vector<std::pair<std::uint32_t, std::int64_t>>
        vCrossed;  // slots where the window meets itself, not held; cost
    // Kept for their memory.
    std::vector<std::uint32_t> vQueue;  // triangles
    std::vector<std::uint32_t> vPath;   // slots

    void gather(std::uint32_t side, const WindowSize& size);
    void add(std::uint32_t triangle, std::uint8_t like, std::uint32_t ring);
    bool isBetterWith(bool bHold);
    void orientInward();
    std::uint32_t sideAt(std::uint32_t slot) const { return 3 * vTriangles[slot / 3] + slot % 3; }
    std::uint32_t placeAcross(std::uint32_t slot) const;
    std::int64_t prepareFlow(bool bHold);
    double lengthOf(std::uint32_t side) const;
    std::int64_t costOf(std::uint32_t side, double longest) const;
    bool findLevels();
    std::int64_t pushFlow();
    std::int64_t pushFrom(std::uint32_t source);
    bool isAhead(std::uint32_t slot, std::uint32_t level) const;
    std::int64_t flowAlongPath();
    void turn();
};

}  // namespace QUOR_ZEF
