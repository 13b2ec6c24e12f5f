#include "handles/shortLoops.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

#include "flat/triangleSides.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

// A mesh and its loops, as a search sees them.
struct Surface {
    const TriangleMesh& mesh;
    const std::vector<std::uint32_t>& vOpposite;
    const LoopClasses& classes;
    std::vector<std::uint32_t> vCorner;  // by vertex: a side that starts there; noSide at borders

    Surface(const TriangleMesh& mesh_, const std::vector<std::uint32_t>& vOpposite_, const LoopClasses& classes_)
        : mesh(mesh_), vOpposite(vOpposite_), classes(classes_), vCorner(mesh_.vertices.size(), noSide) {
        for (std::uint32_t side = 0; side < vOpposite.size(); ++side) vCorner[mesh.indices[side]] = side;
        for (std::uint32_t side = 0; side < vOpposite.size(); ++side)
            if (vOpposite[side] == noSide) vCorner[endOf(side)] = vCorner[mesh.indices[side]] = noSide;
    }
    std::uint32_t endOf(std::uint32_t side) const { return mesh.indices[nextSide(side)]; }
    double lengthOf(std::uint32_t side) const {
        return (mesh.vertices[endOf(side)] - mesh.vertices[mesh.indices[side]]).length();
    }
};

// The vertices around one, the nearest along edges first. Where two ways to a vertex have different classes, they
// close a loop that parts nothing.
class LoopSearch {
public:
    LoopSearch(const Surface& surface_, double longest_)
        : surface(surface_), longest(longest_), vNodeOf(surface_.vCorner.size(), noNode) {}

    // No sides if there is no loop through the vertex.
    HandleLoop from(std::uint32_t vertex) {
        for (const Node& node : vNodes) vNodeOf[node.vertex] = noNode;
        vNodes.clear();
        vQueue = {};
        shortest = longest;
        closing = noSide;
        if (surface.vCorner[vertex] != noSide) reach(vertex, noSide, 0.0, 0);
        while (!vQueue.empty()) {
            const auto [distance, number] = vQueue.top();
            vQueue.pop();
            if (2.0 * distance > shortest) break;
            if (vNodes[number].bSettled) continue;
            vNodes[number].bSettled = true;
            leave(number);
        }
        return closing == noSide ? HandleLoop{} : closedLoop();
    }

private:
    static constexpr std::uint32_t noNode = 0xffffffffU;
    struct Node {
        std::uint32_t vertex, way;  // the side that came there
        double distance;
        uint64 wayClass;  // of the whole way
        bool bSettled = false;
    };
    const Surface& surface;
    const double longest;
    std::vector<std::uint32_t> vNodeOf;  // by vertex of the mesh
    std::vector<Node> vNodes;
    using Entry = std::pair<double, std::uint32_t>;  // distance, node
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> vQueue;
    double shortest = 0.0;
    std::uint32_t closing = noSide;  // of the shortest loop up to now

    void reach(std::uint32_t vertex, std::uint32_t way, double distance, uint64 wayClass) {
        std::uint32_t& number = vNodeOf[vertex];
        if (number == noNode) {
            number = static_cast<std::uint32_t>(vNodes.size());
            vNodes.push_back({vertex, way, distance, wayClass});
        } else if (distance < vNodes[number].distance) {
            vNodes[number] = {vertex, way, distance, wayClass};
        } else {
            return;
        }
        vQueue.emplace(distance, number);
    }

    void leave(std::uint32_t number) {
        const Node node = vNodes[number];
        const std::uint32_t first = surface.vCorner[node.vertex];
        std::uint32_t side = first;
        do {
            lookAlong(node, side);
            side = surface.vOpposite[previousSide(side)];
        } while (side != first);
    }

    void lookAlong(const Node& node, std::uint32_t side) {
        const std::uint32_t vertex = surface.endOf(side), number = vNodeOf[vertex];
        if (surface.vCorner[vertex] == noSide) return;
        const double distance = node.distance + surface.lengthOf(side);
        const uint64 wayClass = node.wayClass ^ surface.classes.of(side);
        if (number == noNode || !vNodes[number].bSettled) {
            if (2.0 * distance <= shortest) reach(vertex, side, distance, wayClass);
        } else if (wayClass != vNodes[number].wayClass && distance + vNodes[number].distance < shortest) {
            shortest = distance + vNodes[number].distance;
            closing = side;
        }
    }

    // The sides from the start to a vertex.
    std::vector<std::uint32_t> wayTo(std::uint32_t vertex) const {
        std::vector<std::uint32_t> vWay;
        for (std::uint32_t way; (way = vNodes[vNodeOf[vertex]].way) != noSide; vertex = surface.mesh.indices[way])
            vWay.push_back(way);
        std::ranges::reverse(vWay);
        return vWay;
    }

    // What both ways have in common at their start belongs to no loop.
    HandleLoop closedLoop() const {
        const std::vector<std::uint32_t> vOut = wayTo(surface.mesh.indices[closing]),
                                         vBack = wayTo(surface.endOf(closing));
        std::size_t numCommon = 0;
        while (numCommon < std::min(vOut.size(), vBack.size()) && vOut[numCommon] == vBack[numCommon]) ++numCommon;
        HandleLoop loop;
        loop.vSides.assign(vOut.begin() + static_cast<std::ptrdiff_t>(numCommon), vOut.end());
        loop.vSides.push_back(closing);
        for (std::size_t i = vBack.size(); i-- > numCommon;) loop.vSides.push_back(surface.vOpposite[vBack[i]]);
        for (const std::uint32_t side : loop.vSides) {
            loop.length += surface.lengthOf(side);
            loop.loopClass ^= surface.classes.of(side);
        }
        return loop;
    }
};

}  // namespace

std::vector<Point3> placesOf(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vSides) {
    std::vector<Point3> vPlaces;
    for (const std::uint32_t side : vSides) vPlaces.push_back(mesh.vertices[mesh.indices[side]]);
    return vPlaces;
}

Point3 middleOf(const std::vector<Point3>& vPlaces) {
    Vector3 sum;
    for (const Point3& place : vPlaces) sum += place - vPlaces[0];
    const Point3 middle = vPlaces[0] + sum / static_cast<double>(vPlaces.size());
    return {middle.px, middle.py, middle.pz};
}

std::vector<HandleLoop> findShortLoops(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vOpposite,
                                       const LoopClasses& classes, double longest) {
    constexpr std::size_t minChunk = 1'000;
    const std::vector<std::uint32_t> vStarts = classes.verticesToMeet(mesh);
    if (vStarts.empty()) return {};
    const Surface surface(mesh, vOpposite, classes);
    std::vector<HandleLoop> vLoops;
    for (std::vector<HandleLoop>&vFound : parallelChunkResults<std::vector<HandleLoop>>(
             vStarts.size(), minChunk, [&](std::size_t begin, std::size_t end) {
                 LoopSearch search(surface, longest);
                 std::vector<HandleLoop> vPart;
                 for (std::size_t i = begin; i < end; ++i)
                     if (HandleLoop loop = search.from(vStarts[i]); !loop.vSides.empty())
                         vPart.push_back(std::move(loop));
                 return vPart;
             }))
        std::ranges::move(vFound, std::back_inserter(vLoops));
    std::ranges::stable_sort(vLoops, {}, &HandleLoop::length);
    return vLoops;
}

}  // namespace QUOR_ZEF
