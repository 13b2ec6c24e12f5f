#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "simplify/FanSurface.h"

namespace QUOR_ZEF {

// Boxes around the triangles of a surface, halved again and again, to find the
// closest point of the whole. One thread at a time, unless told otherwise. Memory: up to 60 bytes a triangle.
class TriangleTree {
public:
    // The surface is borrowed. O(n).
    explicit TriangleTree(const FanSurface& surface);

    // Replaces the foot if the surface comes closer to p than that. The closer it is
    // already, the faster. Boxes are halved when somebody comes along for the first
    // time: all of them take O(n log n), some 0.2 microseconds a triangle.
    void findCloser(const Vector3& p, Foot& foot);
    // Halves all boxes; then several threads at a time may look without halving any.
    void splitAll();
    void findCloserIn(const Vector3& p, Foot& foot) const;

private:
    struct Box {
        Vector3 low, high;

        double sqDistance(const Vector3& p) const;
    };
    struct Node {
        Box box;
        std::uint32_t begin, end;  // of its triangles in vOrder
        std::uint32_t half;        // its first half; the second is the next node; 0 while it has none
    };

    // Of every box that is looked into, splitNode(number) makes sure that it has been halved.
    template <class Split>
    void search(const Vector3& p, Foot& foot, const Split& splitNode) const;
    void split(std::uint32_t number);
    Box boxOf(std::uint32_t begin, std::uint32_t end) const;
    void takeCloser(const Vector3& p, std::uint32_t triangle, Foot& foot) const;

    const FanSurface& surface;
    std::vector<std::uint32_t> vOrder;
    std::vector<Vector3> vMiddles;  // by triangle
    std::vector<Node> vNodes;
};

}  // namespace QUOR_ZEF
