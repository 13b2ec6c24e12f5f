#include "tiles/bandFinish.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "flat/EdgeTable.h"
#include "flat/VertexFans.h"

namespace QUOR_ZEF {

namespace {

// The triangles at one vertex, of which those hang together that a walk across sides reaches.
class FanParter {
public:
    FanParter(TriangleMesh& band_, std::vector<SeamKey>& vKeys_, const std::vector<Beyond>& vBeyond_)
        : band(band_),
          vKeys(vKeys_),
          vBeyond(vBeyond_),
          fans(band.indices, band.vertices.size()),
          vAcross(band.indices.size(), TileMesh::none) {
        const EdgeTable edges(band.indices, band.vertices.size());
        edges.forEachEdge([&](const Edge& edge) {
            if (edge.size() != 2) return;
            if (band.indices[edge[0]] == band.indices[edge[1]]) {
                ++numAgainst;
                return;
            }
            vAcross[edge[0]] = edge[1];
            vAcross[edge[1]] = edge[0];
        });
    }

    std::size_t run() {
        const std::size_t numVertices = band.vertices.size();
        const std::vector<std::uint32_t> vTriples = band.indices;  // while vertices are exchanged
        for (std::uint32_t vertex = 0; vertex < numVertices; ++vertex) part(vTriples, vertex);
        return numAgainst;
    }

private:
    TriangleMesh& band;
    std::vector<SeamKey>& vKeys;
    const std::vector<Beyond>& vBeyond;
    const VertexFans fans;
    std::vector<std::uint32_t> vAcross;  // by side
    std::size_t numAgainst = 0;
    // Kept for their memory.
    std::vector<std::uint32_t> vReached;  // by place in the fan
    std::vector<std::size_t> vOpen;

    void part(const std::vector<std::uint32_t>& vTriples, std::uint32_t vertex) {
        const std::span<const std::uint32_t> fan = fans[vertex];
        vReached.assign(fan.size(), TileMesh::none);
        std::uint32_t num = 0;
        // From all at a core at once, as if that were one fan.
        for (std::size_t k = 0; k < fan.size(); ++k)
            if (isAtCore(vTriples, fan[k], vertex)) num = 1, reach(vTriples, fan, vertex, k, 0);
        for (std::size_t k = 0; k < fan.size(); ++k)
            if (vReached[k] == TileMesh::none) reach(vTriples, fan, vertex, k, num++);
        for (std::uint32_t number = 1; number < num; ++number) {
            const auto copy = static_cast<std::uint32_t>(band.vertices.size());
            const Point3 place = band.vertices[vertex];
            band.vertices.push_back(place);
            const SeamKey key = vKeys[vertex];
            vKeys.push_back(key);
            for (std::size_t k = 0; k < fan.size(); ++k)
                if (vReached[k] == number) band.indices[cornerIn(vTriples, fan[k], vertex)] = copy;
        }
    }

    static std::uint32_t cornerIn(const std::vector<std::uint32_t>& vTriples, std::uint32_t t, std::uint32_t vertex) {
        std::uint32_t side = 3 * t;
        while (vTriples[side] != vertex) ++side;
        return side;
    }

    bool isAtCore(const std::vector<std::uint32_t>& vTriples, std::uint32_t t, std::uint32_t vertex) const {
        const std::uint32_t side = cornerIn(vTriples, t, vertex);
        return vBeyond[side] == Beyond::CORE || vBeyond[previousSide(side)] == Beyond::CORE;
    }

    void reach(const std::vector<std::uint32_t>& vTriples, std::span<const std::uint32_t> fan, std::uint32_t vertex,
               std::size_t first, std::uint32_t number) {
        vOpen.assign(1, first);
        while (!vOpen.empty()) {
            const std::size_t k = vOpen.back();
            vOpen.pop_back();
            if (vReached[k] != TileMesh::none) continue;
            vReached[k] = number;
            const std::uint32_t side = cornerIn(vTriples, fan[k], vertex);
            for (const std::uint32_t step : {side, previousSide(side)}) {
                if (vAcross[step] == TileMesh::none) continue;
                const auto it = std::lower_bound(fan.begin(), fan.end(), vAcross[step] / 3);
                vOpen.push_back(static_cast<std::size_t>(it - fan.begin()));
            }
        }
    }
};

}  // namespace

std::size_t partFans(TriangleMesh& band, std::vector<SeamKey>& vKeys, const std::vector<Beyond>& vBeyond) {
    return FanParter(band, vKeys, vBeyond).run();
}

}  // namespace QUOR_ZEF
