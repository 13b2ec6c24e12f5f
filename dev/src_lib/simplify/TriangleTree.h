#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "simplify/FanSurface.h"

namespace QUOR_ZEF {

// Boxes around the triangles of a surface, halved again and again, to find the
// closest point of the whole. The triangles around a crowded vertex, needles whose boxes all overlap, hang
// together instead in bodies that are thinner, and those around a crowded edge in wedges. One thread at a time,
// unless told otherwise. Memory: up to 60 bytes a triangle, 60 more for such needles, and 40 more for those in
// long boxes.
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
        void include(const Vector3& p);
    };
    struct Node {
        Box box;
        std::uint32_t begin, end;  // of its triangles in vOrder
        std::uint32_t half;        // its first half; the second is the next node; 0 while it has none
        std::uint32_t body;        // of needles in vBodies, or none
        std::uint32_t planes;      // of its triangles, from there on in vPlanes, or none
    };
    // All within a radius of the segment from a crowded vertex.
    struct Body {
        Vector3 from, along;
        double sqLength, radius;
        std::uint32_t wedge;  // in vWedges, or none
    };
    // Of triangles with one edge, as the pages of a book have: all within an angle of a direction from its line.
    struct Wedge {
        Vector3 axis, middle;  // of unit length, across each other
        double angle;          // radians
    };
    static constexpr std::uint32_t none = 0xffffffffu;
    // Of some triangles that follow one another. No corner is farther from its plane than the slack.
    struct Planes {
        static constexpr std::uint32_t size = 8;
        std::array<double, size> x{}, y{}, z{}, offset{}, slack{};

        void set(std::size_t i, const std::array<Vector3, 3>& corners);
        // Whether the triangles are farther than that from p, as far as their planes tell.
        std::array<bool, size> areFarther(const Vector3& p, double distance) const;
    };

    // Of every box that is looked into, splitNode(number) makes sure that it has been halved.
    template <class Split>
    void search(const Vector3& p, Foot& foot, const Split& splitNode) const;
    void split(std::uint32_t number);
    bool isLong(const Node& node) const;
    void makePlanes(Node& node);
    void lookAt(const Vector3& p, const Node& leaf, bool bMany, Foot& foot) const;
    void lookPastPlanes(const Vector3& p, const Node& leaf, Foot& foot) const;
    void addNode(std::uint32_t begin, std::uint32_t end);
    Box boxOf(std::uint32_t begin, std::uint32_t end) const;
    std::uint32_t hubOf(std::uint32_t triangle) const;
    bool haveOneHub(std::uint32_t begin, std::uint32_t end) const;
    Body bodyOf(std::uint32_t begin, std::uint32_t end) const;
    std::uint32_t commonNeighbour(std::uint32_t hub, std::uint32_t begin, std::uint32_t end) const;
    Wedge wedgeOf(const Vector3& from, const Vector3& to, std::uint32_t begin, std::uint32_t end) const;
    double sqDistance(const Vector3& p, const Node& node) const;
    double distanceToWedge(const Vector3& p, const Body& body) const;
    void takeCloser(const Vector3& p, std::uint32_t triangle, Foot& foot) const;

    const FanSurface& surface;
    std::vector<std::uint32_t> vOrder;
    std::vector<Vector3> vMiddles;  // by triangle; the hub, where it has one
    std::vector<Node> vNodes;
    std::vector<Body> vBodies;
    std::vector<Wedge> vWedges;
    std::vector<Planes> vPlanes;
    bool bHubs = false;  // crowded vertices
};

}  // namespace QUOR_ZEF
