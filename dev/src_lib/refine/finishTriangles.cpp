#include "refine/finishTriangles.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/EdgeTable.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/joinedChunks.h"
#include "refine/RMesh.h"
#include "refine/isFinished.h"
#include "refine/triangleAngles.h"
#include "store/TurningSets.h"

namespace QUOR_ZEF {

namespace {

using Numbers = std::vector<std::uint32_t>;

// The numbers below num for which test(number), ascending.
template <class Test>
Numbers numbersWhere(std::size_t num, const Test& test) {
    constexpr std::size_t minChunk = 10'000;
    return joinedChunks<std::uint32_t>(num, minChunk, [&](std::size_t begin, std::size_t end) {
        Numbers vHere;
        for (std::size_t i = begin; i < end; ++i)
            if (test(i)) vHere.push_back(static_cast<std::uint32_t>(i));
        return vHere;
    });
}

// The triangles that do not lie like the first one of their component. False for a surface with one side only.
bool findTurned(const TriangleMesh& mesh, const EdgeTable& edges, std::vector<char>& vTurned) {
    TurningSets sets(mesh.numTriangles());
    for (std::size_t low = 0; low < edges.numVertices(); ++low) {
        pollRun(low);
        bool bTwoSided = true;
        edges.forEachEdge(low, low + 1, [&](const Edge& edge) {
            if (edge.size() == 2)
                bTwoSided &= sets.join(edge[0] / 3, edge[1] / 3, mesh.indices[edge[0]] == mesh.indices[edge[1]]);
        });
        if (!bTwoSided) return false;
    }
    vTurned.resize(mesh.numTriangles());
    for (std::uint32_t t = 0; t < vTurned.size(); ++t) vTurned[t] = sets.find(t).second;
    return true;
}

// As RTriangle::reverse() does.
void turn(TriangleMesh& mesh, std::size_t triangle) {
    std::swap(mesh.indices[3 * triangle], mesh.indices[3 * triangle + 1]);
}

Numbers findUnsound(const TriangleMesh& mesh, const std::vector<char>& vTurned) {
    return numbersWhere(mesh.numTriangles(), [&](std::size_t t) {
        const Point3 &a = mesh.vertices[mesh.indices[3 * t]], &b = mesh.vertices[mesh.indices[3 * t + 1]],
                     &c = mesh.vertices[mesh.indices[3 * t + 2]];
        return vTurned[t] ? !hasSoundCorner(b, a, c) : !hasSoundCorner(a, b, c);
    });
}

// Some triangles of a mesh with so many rings of others around, as an RMesh. All orders are those of the mesh.
//
// A collapse moves or kills all triangles at a vertex, and hangs on what lies around these: on the triangles that
// share a vertex with one of them, and on those around the vertices of these again. So where all that change keep
// two rings of others around them, they change as in the whole mesh.
class Surroundings {
public:
    Surroundings(const TriangleMesh& mesh, const Numbers& vCore) : vRings(mesh.numTriangles(), beyond) {
        std::vector<char> vNear(mesh.vertices.size());
        Numbers vNew = vCore;
        for (std::uint8_t ring = 0;; ++ring) {
            for (const std::uint32_t t : vNew) {
                vRings[t] = ring;
                for (std::size_t side = 3 * std::size_t{t}, end = side + 3; side < end; ++side)
                    vNear[mesh.indices[side]] = 1;
            }
            if (ring == lastRing) break;
            vNew = numbersWhere(vRings.size(), [&](std::size_t t) {
                const std::uint32_t* const k = &mesh.indices[3 * t];
                return vRings[t] == beyond && (vNear[k[0]] || vNear[k[1]] || vNear[k[2]]);
            });
        }
        vTriangles = numbersWhere(vRings.size(), [&](std::size_t t) { return vRings[t] != beyond; });
        vVertices = numbersWhere(vNear.size(), [&](std::size_t i) { return vNear[i] != 0; });
    }

    bool isMuch() const { return vTriangles.size() > vRings.size() / 2; }

    RMesh makeRMesh(const TriangleMesh& mesh, double cellSize) const {
        std::vector<Point3> vPoints;
        vPoints.reserve(vVertices.size());
        for (const std::uint32_t vertex : vVertices) vPoints.push_back(mesh.vertices[vertex]);
        Numbers vTriples;
        vTriples.reserve(3 * vTriangles.size());
        for (const std::uint32_t t : vTriangles)
            for (std::size_t side = 3 * std::size_t{t}, end = side + 3; side < end; ++side)
                vTriples.push_back(static_cast<std::uint32_t>(
                    std::lower_bound(vVertices.begin(), vVertices.end(), mesh.indices[side]) - vVertices.begin()));
        return RMesh(std::move(vPoints), vTriples, cellSize);
    }

    // Triangles of the mesh, by number there.
    const Numbers& triangles() const { return vTriangles; }
    bool mayChange(std::uint32_t triangle) const { return vRings[triangle] + 2 <= lastRing; }
    std::array<std::uint32_t, 3> cornersOf(const RMesh& part, const RTriangle& triangle) const {
        const auto vertex = [&](int i) { return vVertices[part.getVertexNumber(triangle.getCorner(i))]; };
        return {vertex(0), vertex(1), vertex(2)};
    }

private:
    static constexpr std::uint8_t lastRing = 6, beyond = 0xff;

    std::vector<std::uint8_t> vRings;  // by triangle of the mesh
    Numbers vTriangles, vVertices;     // of the mesh; by number in the part
};

struct Change {
    std::uint32_t triangle;
    bool bAlive;
    std::array<std::uint32_t, 3> corners;
};

// What the collapses do to the mesh. False if some of that is in doubt.
bool findChanges(const TriangleMesh& mesh, const std::vector<char>& vTurned, const Numbers& vUnsound, double cellSize,
                 std::vector<Change>& vChanges) {
    const Surroundings around(mesh, vUnsound);
    if (around.isMuch()) return false;
    const Numbers& vTriangles = around.triangles();
    RMesh part = around.makeRMesh(mesh, cellSize);
    ASSEX(part.getNumTriangles()==vTriangles.size());
    for (std::uint32_t i = 0; i < vTriangles.size(); ++i)
        if (vTurned[vTriangles[i]]) part.getTriangle(i)->reverse();
    std::vector<std::array<std::uint32_t, 3>> vBefore;
    vBefore.reserve(vTriangles.size());
    for (std::uint32_t i = 0; i < vTriangles.size(); ++i)
        vBefore.push_back(around.cornersOf(part, *part.getTriangle(i)));
    part.killDegenerate();
    for (std::uint32_t i = 0; i < vTriangles.size(); ++i) {
        const RTriangle& triangle = *part.getTriangle(i);
        const std::array<std::uint32_t, 3> corners = around.cornersOf(part, triangle);
        if (triangle.isAlive() && corners == vBefore[i]) continue;
        if (!around.mayChange(vTriangles[i])) return false;
        vChanges.push_back({vTriangles[i], triangle.isAlive(), corners});
    }
    return true;
}

// The changes are ascending.
void applyChanges(const std::vector<Change>& vChanges, std::vector<std::uint32_t>& vTriples) {
    for (const Change& change : vChanges)
        std::copy(change.corners.begin(), change.corners.end(), &vTriples[3 * std::size_t{change.triangle}]);
    std::size_t end = 0, next = 0;  // next: what has not moved to its place yet
    const auto moveUpTo = [&](std::size_t side) {
        if (end != next) std::copy(&vTriples[next], vTriples.data() + side, &vTriples[end]);
        end += side - next;
    };
    for (const Change& change : vChanges) {
        if (change.bAlive) continue;
        moveUpTo(3 * std::size_t{change.triangle});
        next = 3 * std::size_t{change.triangle} + 3;
    }
    if (next == 0) return;
    if (next < vTriples.size()) moveUpTo(vTriples.size());
    vTriples.resize(end);
}

void passStage(const char* name, std::size_t num) {
    getProgress()->getChildProgressSetTodo(name, num)->tick(num);
}

}  // namespace

bool finishTriangles(TriangleMesh& mesh, double cellSize) {
    const std::size_t num = mesh.numTriangles();
    std::vector<char> vTurned(num);
    {
        const EdgeTable edges(mesh.indices, mesh.vertices.size());
        if (!findDuplicates(mesh.indices, edges).empty()) return false;
        if (!areOriented(mesh, edges) && !findTurned(mesh, edges, vTurned)) return false;
    }
    passStage("RM_cpo", num);
    const Numbers vUnsound = findUnsound(mesh, vTurned);
    std::vector<Change> vChanges;
    if (vUnsound.empty())
        passStage("RM_kdeg", num);
    else if (!findChanges(mesh, vTurned, vUnsound, cellSize, vChanges))
        return false;
    for (std::size_t t = 0; t < num; ++t)
        if (vTurned[t]) turn(mesh, t);
    applyChanges(vChanges, mesh.indices);
    return true;
}

}  // namespace QUOR_ZEF
