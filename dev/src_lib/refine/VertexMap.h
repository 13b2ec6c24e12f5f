#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Which positions are taken by vertices, numbered from 0. Several vertices may
// share one position. Positions count by value: -0.0 is 0.0, any two NaN are one.
//
// The map keeps positions of its own: a vertex that is moved elsewhere stands
// here at the old position until move() is called for it.
// One thread at a time. All operations O(1) but for build().
// Memory: about 44 bytes a vertex.
class VertexMap {
public:
    // Replaces everything: vertex i stands at vPoints[i]. O(n).
    void build(const std::vector<Point3>& vPoints);
    // As before the first build().
    void clear() { *this = VertexMap(); }
    bool isBuilt() const { return bBuilt; }

    // True if a vertex stands there.
    bool isTaken(const Point3& p) const;
    // Takes the vertex away from where it stands here; false if it has been taken away already.
    bool erase(std::uint32_t vertex);
    // Puts a vertex that stands nowhere to p; false if another stands there already.
    bool insert(std::uint32_t vertex, const Point3& p);

private:
    static constexpr std::uint32_t none = 0xffffffffu;

    struct Place {
        uint64 x, y, z;         // the bits of the coordinates
        std::uint32_t num = 0;  // vertices there; a place that has become free stays until rehash()

        explicit Place(const Point3& p);
        bool operator==(const Place& other) const { return x == other.x && y == other.y && z == other.z; }
    };

    std::size_t findSlot(const Place& place) const;
    std::uint32_t add(const Place& place);
    void rehash();

    bool bBuilt = false;
    std::vector<Place> vPlaces;
    std::vector<std::uint32_t> vSlots;         // hash table of indices into vPlaces
    std::vector<std::uint32_t> vVertexPlaces;  // where each vertex stands, none for nowhere
};

}  // namespace QUOR_ZEF
