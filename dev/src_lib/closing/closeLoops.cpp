#include "closing/closeLoops.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "closing/LoopCutter.h"
#include "closing/Patch.h"
#include "closing/fairness.h"
#include "flat/EdgeTable.h"
#include "flat/VertexFans.h"
#include "flat/edgeLists.h"
#include "frame/Progress.h"
#include "mend/LoopFiller.h"

namespace QUOR_ZEF {

namespace {

using Indices = std::vector<std::uint32_t>;

class LoopClosing {
public:
    LoopClosing(TriangleMesh& mesh_, double cellSize_)
        : mesh(mesh_),
          cellSize(cellSize_),
          edges(mesh.indices, mesh.vertices.size()),
          fans(mesh.indices, mesh.vertices.size()),
          vDead(mesh.numTriangles()),
          filler(mesh, edges, vDead) {
        const auto numVertices = static_cast<std::uint32_t>(mesh.vertices.size());
        vNext.assign(numVertices, Patch::none);
        vSide.assign(numVertices, Patch::none);
        for (const VertexPair& ends : edges.oddEdges()) {
            const std::uint32_t side = edges.at(ends)[0];
            vNext[mesh.indices[nextSide(side)]] = mesh.indices[side];
            vSide[mesh.indices[nextSide(side)]] = side;
        }
    }

    Indices run() {
        const std::vector<Indices> vLoops = listLoops();
        Indices vFirst;
        OptionalStage stage("CL_close", edges.oddEdges().size());
        for (const Indices& vLoop : vLoops) {
            close(vLoop);
            vFirst.push_back(vLoop.front());
            stage.tick(vLoop.size());
        }
        stage.finish();
        mesh.indices.insert(mesh.indices.end(), vAdded.begin(), vAdded.end());
        mesh.vertices.insert(mesh.vertices.end(), vAddedPlaces.begin(), vAddedPlaces.end());
        return vFirst;
    }

private:
    TriangleMesh& mesh;
    const double cellSize;
    const EdgeTable edges;
    const VertexFans fans;
    const std::vector<bool> vDead;
    LoopFiller filler;
    Indices vNext, vSide;  // by vertex of a border: the next one around the hole, and the side between them
    Indices vAdded;
    std::vector<Point3> vAddedPlaces;

    std::vector<Indices> listLoops() const {
        std::vector<Indices> vLoops;
        std::vector<bool> vSeen(vNext.size());
        for (std::uint32_t first = 0; first < vNext.size(); ++first) {
            if (vNext[first] == Patch::none || vSeen[first]) continue;
            Indices vLoop;
            for (std::uint32_t i = first; !vSeen[i]; i = vNext[i]) {
                vSeen[i] = true;
                vLoop.push_back(i);
            }
            vLoops.push_back(std::move(vLoop));
        }
        return vLoops;
    }

    LoopSurroundings surroundingsOf(const Indices& vLoop) const {
        LoopSurroundings around;
        for (std::size_t i = 0; i < vLoop.size(); ++i) {
            const std::uint32_t vertex = vLoop[i], before = vLoop[(i + vLoop.size() - 1) % vLoop.size()];
            around.vBeside.push_back(mesh.vertices[mesh.indices[previousSide(vSide[vertex])]]);
            std::vector<Point3>& vOuter = around.vOuter.emplace_back();
            for (const std::uint32_t t : fans[vertex]) {
                const std::uint32_t corner = cornerAt(mesh.indices, 3 * t, vertex);
                const std::uint32_t side = mesh.indices[corner] == vertex ? corner : 3 * t + 2;
                // Each neighbour starts one side of the fan but the one at its end, which is of the loop.
                const std::uint32_t other = mesh.indices[nextSide(side)];
                if (other != before && other != vNext[vertex]) vOuter.push_back(mesh.vertices[other]);
            }
        }
        return around;
    }

    // Corners by places in the loop.
    Indices triangulate(const std::vector<Point3>& vPlaces, const LoopSurroundings& around, const Indices& vLoop) {
        constexpr std::size_t mostExact = 160;  // vertices; the exact way takes the cube of them
        Indices vTriangles;
        LoopCutter cutter(vPlaces, around.vBeside);
        const Indices vLeft = cutter.cut(mostExact, vTriangles);
        Indices vRest, vFilling;
        for (const std::uint32_t i : vLeft) vRest.push_back(vLoop[i]);
        if (!filler.fill(vRest, vFilling)) {
            for (std::size_t i = 1; i + 1 < vRest.size(); ++i)
                vFilling.insert(vFilling.end(), {vRest[0], vRest[i], vRest[i + 1]});
        }
        std::vector<std::pair<std::uint32_t, std::uint32_t>> vPlaceIn;
        for (const std::uint32_t i : vLeft) vPlaceIn.emplace_back(vLoop[i], i);
        std::sort(vPlaceIn.begin(), vPlaceIn.end());
        for (const std::uint32_t vertex : vFilling)
            vTriangles.push_back(std::lower_bound(vPlaceIn.begin(), vPlaceIn.end(), std::pair{vertex, 0U})->second);
        return vTriangles;
    }

    static std::vector<double> sizesOf(const std::vector<Point3>& vPlaces) {
        std::vector<double> vLengths, vSizes;
        for (std::size_t i = 0; i < vPlaces.size(); ++i)
            vLengths.push_back((vPlaces[(i + 1) % vPlaces.size()] - vPlaces[i]).length());
        for (std::size_t i = 0; i < vPlaces.size(); ++i)
            vSizes.push_back(0.5 * (vLengths[i] + vLengths[(i + vPlaces.size() - 1) % vPlaces.size()]));
        return vSizes;
    }

    void close(const Indices& vLoop) {
        std::vector<Point3> vPlaces;
        for (const std::uint32_t i : vLoop) vPlaces.push_back(mesh.vertices[i]);
        const LoopSurroundings around = surroundingsOf(vLoop);
        Indices vTriangles = triangulate(vPlaces, around, vLoop);
        Patch patch(vPlaces, sizesOf(vPlaces), std::move(vTriangles));
        patch.splitChords([&](std::uint32_t a, std::uint32_t b) { return edges.at(vLoop[a], vLoop[b]).size() > 0; });
        patch.refine();
        makeFair(patch, around, cellSize);
        const auto first = static_cast<std::uint32_t>(mesh.vertices.size() + vAddedPlaces.size());
        for (const std::uint32_t i : patch.vCorners)
            vAdded.push_back(patch.isInside(i) ? first + i - patch.numLoop : vLoop[i]);
        for (std::size_t i = patch.numLoop; i < patch.vPlaces.size(); ++i) {
            const Point3& p = patch.vPlaces[i];
            vAddedPlaces.emplace_back(p.px, p.py, p.pz);
        }
    }
};

// Of live triangles, of which there is one more than sides between them, or as many.
bool isOneFan(const TriangleMesh& mesh, const VertexFans& fans, const std::vector<bool>& vDead, std::uint32_t vertex) {
    Indices vStarts, vEnds, vCommon;
    for (const std::uint32_t t : fans[vertex]) {
        if (vDead[t]) continue;
        const std::uint32_t* const p = &mesh.indices[3 * std::size_t{t}];
        const std::size_t i = p[0] == vertex ? 0 : p[1] == vertex ? 1 : 2;
        vStarts.push_back(p[(i + 1) % 3]);
        vEnds.push_back(p[(i + 2) % 3]);
    }
    std::sort(vStarts.begin(), vStarts.end());
    std::sort(vEnds.begin(), vEnds.end());
    std::set_intersection(vStarts.begin(), vStarts.end(), vEnds.begin(), vEnds.end(), std::back_inserter(vCommon));
    return vCommon.size() + 1 >= vStarts.size();
}

}  // namespace

void widenHoles(TriangleMesh& mesh, int numRings) {
    for (int ring = 0; ring < numRings; ++ring) {
        const VertexFans fans(mesh.indices, mesh.vertices.size());
        std::vector<bool> vDead(mesh.numTriangles());
        Indices vTouched;
        const auto take = [&](std::uint32_t vertex) {
            for (const std::uint32_t t : fans[vertex]) {
                if (vDead[t]) continue;
                vDead[t] = true;
                for (std::size_t i = 0; i < 3; ++i) vTouched.push_back(mesh.indices[3 * std::size_t{t} + i]);
            }
        };
        for (const VertexPair& ends : findBorderEdges(mesh)) {
            take(ends.first);
            take(ends.second);
        }
        while (!vTouched.empty()) {
            const std::uint32_t vertex = vTouched.back();
            vTouched.pop_back();
            if (!isOneFan(mesh, fans, vDead, vertex)) take(vertex);
        }
        removeTriangles(mesh.indices, vDead);
        renumberVertices(mesh, VertexOrder::MESH);
    }
}

Indices closeLoops(TriangleMesh& mesh, double cellSize) {
    return LoopClosing(mesh, cellSize).run();
}

}  // namespace QUOR_ZEF
