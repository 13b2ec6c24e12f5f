#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// The place of a position along a 3D Hilbert curve that fills a box: positions
// near to each other on the curve are near to each other in space.
class HilbertIndex {
public:
    // bitLength: three bits for each halving of the box; a multiple of 3, at
    // most 32. Another length fails an ASSEX after a line.
    // lower, upper: finite; a box may be flat.
    HilbertIndex(const Point3& lower, const Point3& upper, int bitLength);

    // Of a position inside the box, edges included. Below 2 to the bit length.
    std::uint32_t operator()(double x, double y, double z) const;

private:
    int numLevels;
    Point3 halfLower;    // half of the coordinates, whose differences cannot overflow
    Vector3 numPerUnit;  // cells of the finest level per unit of the halved coordinates
};

// Finds the items within a radius. Items are added, the search is built once,
// then it is asked. Items lie in Hilbert order under a tree of boxes, eight
// items or boxes in each, all in flat arrays.
//
// Threads: build() uses the task pool; any number of threads may ask one built search.
// Cost: build O(n log n), about 43 bytes an item and as much again while it runs; a query O(log n + hits) on surfaces.
class GSS_HC3 {
public:
    struct Item {
        void* pObject;  // not owned, never looked at
        double x, y, z;
    };

    GSS_HC3() = default;
    GSS_HC3(const GSS_HC3&) = delete;
    GSS_HC3& operator=(const GSS_HC3&) = delete;

    // Only speed: room for so many items.
    void reserve(std::size_t numItems) { vItems.reserve(numItems); }
    // Before build(); fails an ASSEX after it. Items may coincide. One with a
    // coordinate that is not finite is never found.
    void add(void* pObject, double x, double y, double z);
    // Once. At most 4294967295 items; none is fine.
    void build();

    // Appends every item whose squared distance, (dx * dx + dy * dy) + dz * dz,
    // is at most the squared radius, in ascending order of the items' Hilbert
    // index and, where that is equal, in the order in which they were added.
    // The Items live in this search. A negative radius finds nothing.
    void query(double x, double y, double z, double radius, std::vector<Item*>& vOut) const;
    // The same hits in the same order, as numbers: 0 for the item added first.
    void query(double x, double y, double z, double radius, std::vector<std::uint32_t>& vOut) const;

private:
    struct Box {
        double lower[3];
        double upper[3];
        void include(const Box& box);
    };
    struct Ball;

    bool bBuilt = false;
    std::vector<Item> vItems;  // in Hilbert order once built
    Item* pItems = nullptr;    // of vItems, once built
    // For each of vItems its number in the order of adding.
    std::vector<std::uint32_t> vNumbers;
    // The lowest level has a box per 8 items, each other one a box per 8 boxes
    // of the level below; the highest has at most 8.
    std::vector<std::vector<Box>> vLevels;

    static Box boxOf(const Item& item);
    Box boxOfFiniteItems() const;
    std::vector<uint64> sortedKeys() const;
    void buildLevels();
    template <class Take>
    void visitAll(double x, double y, double z, double radius, const Take& take) const;
    template <class Take>
    void visit(std::size_t level, std::size_t first, const Ball& ball, const Take& take) const;
    template <class Take>
    void testItems(std::size_t leaf, const Ball& ball, const Take& take) const;
};

}  // namespace QUOR_ZEF
