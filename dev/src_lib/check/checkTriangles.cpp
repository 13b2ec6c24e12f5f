#include "check/checkTriangles.h"

#include <algorithm>
#include <cmath>

#include "flat/EdgeTable.h"
#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

class Checker {
public:
    explicit Checker(const TriangleMesh& mesh)
        : vVertices(mesh.vertices),
          vTriples(mesh.indices),
          edges(vTriples, vVertices.size()),
          fans(vTriples.size()),
          components(mesh.numTriangles()),
          vAtBadEdge(vVertices.size()) {}

    MeshReport check() {
        stage.tick();
        joinAcrossEdges();
        stage.tick();
        numberComponents();
        countEdges();
        stage.tick();
        countVertices();
        countLoops();
        stage.tick();
        measure();
        report.numDuplicateTriangles = findDuplicates(vTriples, edges).size();
        conclude();
        stage.finish();
        return std::move(report);
    }

private:
    const std::vector<Point3>& vVertices;
    const std::vector<std::uint32_t>& vTriples;
    OptionalStage stage{"CK_mesh", 5};  // before the edges are found
    const EdgeTable edges;
    DisjointSets fans;                      // of corners
    DisjointSets components;                // of triangles
    std::vector<std::uint32_t> vComponent;  // of each triangle
    std::vector<bool> vAtBadEdge;           // vertices
    MeshReport report;

    MeshComponent& componentOf(std::uint32_t side) { return report.components[vComponent[side / 3]]; }

    void joinAcrossEdges() {
        edges.forEachEdge([&](const Edge& edge) {
            const std::uint32_t a = edge.low, first = edge[0];
            const std::uint32_t firstAtA = cornerAt(vTriples, first, a);
            const std::uint32_t firstAtB = firstAtA == first ? nextSide(first) : first;
            for (const auto& [high, side] : edge.sides.subspan(1)) {
                const std::uint32_t atA = cornerAt(vTriples, side, a);
                components.join(first / 3, side / 3);
                fans.join(firstAtA, atA);
                fans.join(firstAtB, atA == side ? nextSide(side) : side);
            }
        });
    }

    // The root of a set is its first triangle, so the numbers ascend.
    void numberComponents() {
        vComponent.resize(vTriples.size() / 3);
        for (std::uint32_t t = 0; t < vComponent.size(); ++t) {
            const std::uint32_t root = components.find(t);
            if (root == t) {
                vComponent[t] = static_cast<std::uint32_t>(report.components.size());
                report.components.push_back({.manifold = true, .oriented = true});
            }
            vComponent[t] = vComponent[root];
            ++report.components[vComponent[t]].numTriangles;
        }
    }

    void countEdges() {
        edges.forEachEdge([&](const Edge& edge) {
            MeshComponent& component = componentOf(edge[0]);
            ++component.numEdges;
            if (edge.size() == 1) ++component.numBorderEdges;
            if (edge.size() == 2 && vTriples[edge[0]] == vTriples[edge[1]]) {
                ++report.numOrientationConflicts;
                component.oriented = false;
            }
            if (edge.size() <= 2) return;
            ++report.numNonManifoldEdges;
            component.manifold = false;
            vAtBadEdge[edge.low] = vAtBadEdge[edge.high()] = true;
        });
    }

    void countVertices() {
        std::vector<std::uint32_t> vNumFans(vVertices.size());
        for (std::uint32_t corner = 0; corner < vTriples.size(); ++corner) {
            if (fans.find(corner) != corner) continue;
            ++componentOf(corner).numVertices;
            ++vNumFans[vTriples[corner]];
        }
        for (std::size_t i = 0; i < vNumFans.size(); ++i) {
            if (vNumFans[i] > 0) ++report.numVertices;
            if (vNumFans[i] > 1 || vAtBadEdge[i]) ++report.numNonManifoldVertices;
        }
    }

    void countLoops() {
        std::vector<std::uint32_t> vBorder;  // sides
        for (const VertexPair& ends : edges.oddEdges())
            if (const Edge edge = edges.at(ends); edge.size() == 1) vBorder.push_back(edge[0]);
        DisjointSets loops(vBorder.size());
        std::vector<std::uint32_t> vFirstAtFan(vTriples.size(), none);  // border side by fan
        for (std::uint32_t i = 0; i < vBorder.size(); ++i) {
            for (const std::uint32_t corner : {vBorder[i], nextSide(vBorder[i])}) {
                std::uint32_t& first = vFirstAtFan[fans.find(corner)];
                if (first == none) first = i;
                loops.join(first, i);
            }
        }
        std::vector<std::uint32_t> vLoop(vBorder.size());  // by border side
        for (std::uint32_t i = 0; i < vBorder.size(); ++i) {
            const std::uint32_t root = loops.find(i);
            if (root == i) {
                ++componentOf(vBorder[i]).numBorderLoops;
                vLoop[i] = static_cast<std::uint32_t>(report.borderLoops.size());
                report.borderLoops.push_back(
                    {0, 0.0, vVertices[vTriples[vBorder[i]]], vVertices[vTriples[vBorder[i]]]});
            }
            vLoop[i] = vLoop[root];
            addToLoop(vBorder[i], report.borderLoops[vLoop[i]]);
        }
    }

    void addToLoop(std::uint32_t side, MeshBorderLoop& loop) const {
        const Point3 &a = vVertices[vTriples[side]], &b = vVertices[vTriples[nextSide(side)]];
        ++loop.numEdges;
        loop.length += (b - a).length();
        for (const Point3& p : {a, b}) {
            loop.low.set(std::min(loop.low.px, p.px), std::min(loop.low.py, p.py), std::min(loop.low.pz, p.pz));
            loop.high.set(std::max(loop.high.px, p.px), std::max(loop.high.py, p.py), std::max(loop.high.pz, p.pz));
        }
    }

    // Volumes are summed from a vertex of the component, since that is near.
    void measure() {
        std::vector<const Point3*> vOrigin(report.components.size());
        for (std::uint32_t side = 0; side < vTriples.size(); side += 3) {
            const Point3& p = vVertices[vTriples[side]];
            const Point3*& pOrigin = vOrigin[vComponent[side / 3]];
            if (!pOrigin) pOrigin = &p;
            const Vector3 normal = cross(vVertices[vTriples[side + 1]] - p, vVertices[vTriples[side + 2]] - p);
            const double doubleArea = normal.length();
            if (!(doubleArea > 0.0) || !std::isfinite(doubleArea)) {
                ++report.numDegenerateTriangles;
                continue;
            }
            MeshComponent& component = componentOf(side);
            component.area += doubleArea / 2.0;
            component.volume += (p - *pOrigin) * normal / 6.0;
        }
    }

    void conclude() {
        for (MeshComponent& c : report.components) {
            c.closed = c.numBorderEdges == 0;
            c.euler = static_cast<std::int64_t>(c.numVertices) - static_cast<std::int64_t>(c.numEdges) +
                      static_cast<std::int64_t>(c.numTriangles);
            if (!c.closed || !c.manifold || !c.oriented) c.volume = 0.0;
            if (c.manifold && c.oriented) c.genus = (2 - c.euler - static_cast<std::int64_t>(c.numBorderLoops)) / 2;
            report.numEdges += c.numEdges;
            report.numBorderEdges += c.numBorderEdges;
            report.numBorderLoops += c.numBorderLoops;
            report.area += c.area;
            report.volume += c.volume;
        }
        report.numTriangles = vTriples.size() / 3;
        report.numComponents = report.components.size();
        report.euler = static_cast<std::int64_t>(report.numVertices) - static_cast<std::int64_t>(report.numEdges) +
                       static_cast<std::int64_t>(report.numTriangles);
        report.closed = report.numTriangles > 0 && report.numBorderEdges == 0;
        report.manifold = report.numNonManifoldEdges == 0 && report.numNonManifoldVertices == 0;
        report.oriented = report.numOrientationConflicts == 0;
    }
};

}  // namespace

MeshReport checkTriangles(const TriangleMesh& mesh) {
    return Checker(mesh).check();
}

}  // namespace QUOR_ZEF
