#include "smooth/smoothing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <tuple>

#include "flat/EdgeTable.h"
#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "zef/Vector3.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

namespace {

constexpr double minBorderAngle = 170.0;  // degrees: the border runs straight
constexpr std::size_t minChunk = 1'000;

Vector3 difference(Vector3 u, const Vector3& v) {
    u -= v;
    return u;
}

bool isFinite(const Vector3& v) {
    return std::isfinite(v.vx) && std::isfinite(v.vy) && std::isfinite(v.vz);
}

bool isSame(const Vector3& u, const Vector3& v) {
    return u.vx == v.vx && u.vy == v.vy && u.vz == v.vz;
}

// One number for equal positions; -0.0 equals 0.0. Different ones may share it.
uint64 hashOf(const Vector3& v) {
    uint64 hash = 0;
    for (const double coord : {v.vx, v.vy, v.vz}) {
        hash = (hash ^ std::bit_cast<uint64>(coord + 0.0)) * 0x9e3779b97f4a7c15u;
        hash ^= hash >> 32;
    }
    return hash;
}

// The values that come more than once, ascending. Sorts v.
std::vector<uint64> repeatsIn(std::vector<uint64>& v) {
    sortMT(v.begin(), v.end());
    std::vector<uint64> vRepeats;
    for (std::size_t i = 1; i < v.size(); ++i)
        if (v[i] == v[i - 1] && (vRepeats.empty() || vRepeats.back() != v[i])) vRepeats.push_back(v[i]);
    return vRepeats;
}

// All that lives during one smoothing. Positions are vectors from the origin, by
// vertex; the mesh gets them at the end.
class Smoothing {
public:
    Smoothing(TriangleMesh& mesh_, const SmoothingLinks& links_) : mesh(mesh_), links(links_) {
        vPos.reserve(mesh.vertices.size());
        for (const Point3& p : mesh.vertices) vPos.emplace_back(p.px, p.py, p.pz);
        vNew.resize(vPos.size());
        findKinds();
        collectNeighbours();
    }

    // Moves all vertices by this share of the way to their neighbours' mean.
    void step(double factor) {
        move([&](std::size_t i) { return getTarget(i, factor); });
    }

    // Follows a step. Whoever was not let go forth then does not go back, or it would get
    // farther from its neighbours each time.
    void stepBack(double factor) {
        move([&](std::size_t i) { return isSame(vPos[i], vNew[i]) ? vPos[i] : getTarget(i, factor); });
    }

    void writeBack() {
        parallelChunks(vPos.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) mesh.vertices[i].set(vPos[i].vx, vPos[i].vy, vPos[i].vz);
        });
    }

private:
    enum Kind : char { INNER, BORDER, FIXED };

    // Leaves the positions before in vNew.
    template <class F>
    void move(const F& targetOf) {
        parallelChunks(vPos.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) vNew[i] = targetOf(i);
        });
        refuseTaken();
        refuseTurns();
        vPos.swap(vNew);
    }

    void findKinds() {
        vKind.resize(vPos.size(), INNER);
        for (const SmoothingLinks::Edge& edge : links.vEdges) {
            if (edge.numTriangles == 2) continue;
            for (const std::uint32_t vertex : {edge.low, edge.high}) {
                Kind& kind = vKind[vertex];
                kind = edge.numTriangles == 1 ? std::max(kind, BORDER) : FIXED;
            }
        }
    }

    // Calls f(vertex, neighbour) for each neighbour that counts, in the order of edges.
    template <class F>
    void forEachNeighbour(F&& f) const {
        for (const auto& [a, b, numTriangles] : links.vEdges) {
            const bool bBorder = numTriangles == 1;
            if (vKind[a] == INNER || (vKind[a] == BORDER && bBorder)) f(a, b);
            if (vKind[b] == INNER || (vKind[b] == BORDER && bBorder)) f(b, a);
        }
    }

    void collectNeighbours() {
        vStart.resize(vPos.size() + 1);
        forEachNeighbour([&](std::uint32_t a, std::uint32_t) { ++vStart[a + 1]; });
        for (std::size_t i = 1; i < vStart.size(); ++i) vStart[i] += vStart[i - 1];
        vNeighbours.resize(vStart.back());
        std::vector<std::size_t> vNext(vStart.begin(), vStart.end() - 1);
        forEachNeighbour([&](std::uint32_t a, std::uint32_t b) { vNeighbours[vNext[a]++] = b; });
    }

    std::span<const std::uint32_t> neighbours(std::size_t vertex) const {
        return {vNeighbours.data() + vStart[vertex], vStart[vertex + 1] - vStart[vertex]};
    }

    bool runsStraight(std::size_t vertex) const {
        const auto n = neighbours(vertex);
        if (n.size() != 2) return false;
        const Vector3 u = normalize(difference(vPos[n[0]], vPos[vertex])),
                      v = normalize(difference(vPos[n[1]], vPos[vertex]));
        return getAngleDeg(u, v) >= minBorderAngle;
    }

    Vector3 getTarget(std::size_t vertex, double factor) const {
        const auto n = neighbours(vertex);
        const Vector3& pos = vPos[vertex];
        if (n.empty() || (vKind[vertex] == BORDER && !runsStraight(vertex))) return pos;
        Vector3 sum;
        for (const std::uint32_t neighbour : n) sum += vPos[neighbour];
        const Vector3 mean = sum / static_cast<double>(n.size());
        Vector3 target = pos;
        target += difference(mean, pos) * factor;
        return isFinite(target) ? target : pos;
    }

    // One at a position that is no number stays, although that differs from itself.
    bool moves(std::size_t vertex) const { return !isSame(vPos[vertex], vNew[vertex]) && isFinite(vNew[vertex]); }

    // Nobody moves to where another vertex has been or, of lower number, goes; so
    // whoever stays behind later on has its place free. As a rule nobody wants to,
    // and comparing hashes is all.
    void refuseTaken() {
        const std::size_t n = vPos.size();
        vHashes.resize(2 * n);
        parallelChunks(n, minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                vHashes[i] = hashOf(vPos[i]);
                // One that stays has one place; the other number is as good as none.
                vHashes[n + i] = moves(i) ? hashOf(vNew[i]) : ~vHashes[i] + i;
            }
        });
        const std::vector<uint64> vRepeats = repeatsIn(vHashes);
        if (!vRepeats.empty()) refuseAmong(vRepeats);
    }

    struct Claim {
        uint64 hash;
        bool bNew;
        std::size_t vertex;
        bool operator<(const Claim& c) const {
            return std::tie(hash, bNew, vertex) < std::tie(c.hash, c.bNew, c.vertex);
        }
    };

    void refuseAmong(const std::vector<uint64>& vRepeats) {
        std::vector<Claim> vClaims;
        const auto add = [&](const Vector3& position, bool bNew, std::size_t vertex) {
            const uint64 hash = hashOf(position);
            if (std::binary_search(vRepeats.begin(), vRepeats.end(), hash)) vClaims.push_back({hash, bNew, vertex});
        };
        for (std::size_t i = 0; i < vPos.size(); ++i) {
            add(vPos[i], false, i);
            if (moves(i)) add(vNew[i], true, i);
        }
        std::sort(vClaims.begin(), vClaims.end());
        for (std::size_t begin = 0, end = 0; begin < vClaims.size(); begin = end) {
            while (end < vClaims.size() && vClaims[end].hash == vClaims[begin].hash) ++end;
            settleClaims({vClaims.data() + begin, end - begin});
        }
    }

    // Of one hash: the old places first.
    void settleClaims(std::span<const Claim> claims) {
        for (std::size_t i = 0; i < claims.size(); ++i) {
            if (!claims[i].bNew) continue;
            Vector3& wanted = vNew[claims[i].vertex];
            const bool bTaken = std::any_of(claims.begin(), claims.begin() + std::ptrdiff_t(i), [&](const Claim& c) {
                return isSame(c.bNew ? vNew[c.vertex] : vPos[c.vertex], wanted);
            });
            if (bTaken) wanted = vPos[claims[i].vertex];
        }
    }

    Vector3 normalOf(const std::vector<Vector3>& v, std::size_t triangle) const {
        const std::uint32_t* const k = &mesh.indices[3 * triangle];
        return cross(difference(v[k[1]], v[k[0]]), difference(v[k[2]], v[k[0]]));
    }

    // One without area now has nothing to turn.
    bool turnsOver(std::size_t triangle) const {
        const Vector3 oldN = normalOf(vPos, triangle);
        if (oldN.isDegenerate()) return false;
        const Vector3 newN = normalOf(vNew, triangle);
        return newN.isDegenerate() || !(oldN * newN >= 0.0);
    }

    // The corners of a triangle that would turn over stay, which may turn others
    // over, until none does.
    void refuseTurns() {
        const auto find = [&](std::size_t begin, std::size_t end) {
            std::vector<std::size_t> vFound;
            for (std::size_t i = begin; i < end; ++i)
                if (turnsOver(i)) vFound.push_back(i);
            return vFound;
        };
        std::vector<std::size_t> vStack;
        for (const auto& vFound : parallelChunkResults<std::vector<std::size_t>>(mesh.numTriangles(), minChunk, find))
            vStack.insert(vStack.end(), vFound.begin(), vFound.end());
        while (!vStack.empty()) {
            const std::size_t triangle = vStack.back();
            vStack.pop_back();
            if (!turnsOver(triangle)) continue;
            for (std::size_t i = 0; i < 3; ++i) {
                const std::uint32_t vertex = mesh.indices[3 * triangle + i];
                if (!moves(vertex)) continue;
                vNew[vertex] = vPos[vertex];
                for (const std::uint32_t neighbour : links.fans[vertex]) vStack.push_back(neighbour);
            }
        }
    }

    TriangleMesh& mesh;
    const SmoothingLinks& links;
    std::vector<Vector3> vPos, vNew;         // by vertex
    std::vector<Kind> vKind;                 // likewise
    std::vector<std::size_t> vStart;         // likewise: where its neighbours stand in vNeighbours, and the end
    std::vector<std::uint32_t> vNeighbours;  // vertices
    std::vector<uint64> vHashes;             // of refuseTaken, kept for its memory
};

}  // namespace

SmoothingLinks linksOf(const TriangleMesh& mesh) {
    constexpr std::uint8_t many = 3;
    std::vector<std::uint8_t> vNum(mesh.indices.size());  // of triangles at the edge, by the side that brings it
    std::size_t num = 0;
    EdgeTable(mesh.indices, mesh.vertices.size()).forEachEdge([&](const Edge& edge) {
        vNum[edge[0]] = static_cast<std::uint8_t>(std::min<std::size_t>(edge.size(), many));
        ++num;
    });
    SmoothingLinks links;
    links.vEdges.reserve(num);
    for (std::uint32_t side = 0; side < vNum.size(); ++side) {
        if (vNum[side] == 0) continue;
        const auto [low, high] = std::minmax(mesh.indices[side], mesh.indices[nextSide(side)]);
        links.vEdges.push_back({low, high, vNum[side]});
    }
    links.fans = VertexFans(mesh.indices, mesh.vertices.size());
    return links;
}

void laplacianSmoothing(TriangleMesh& mesh, const SmoothingLinks& links, const SmoothingOptions& options) {
    const int numSteps = std::max(options.steps, 0);
    Progress* pProgress = getProgress()->getChildProgressSetTodo("RM_smooth", static_cast<uint64>(numSteps));
    if (numSteps > 0) {
        Smoothing smoothing(mesh, links);
        for (int i = 0; i < numSteps; ++i) {
            smoothing.step(options.lambda);
            if (options.keepVolume) smoothing.stepBack(options.mu);
            pProgress->tick();
        }
        smoothing.writeBack();
    }
    pProgress->finish(true);
}

void laplacianSmoothing(TriangleMesh& mesh, const SmoothingOptions& options) {
    laplacianSmoothing(mesh, linksOf(mesh), options);
}

}  // namespace QUOR_ZEF
