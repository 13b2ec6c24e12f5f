#include "simplify/reduceTo.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "simplify/CollapseMesh.h"
#include "simplify/ColorQuadric.h"
#include "simplify/CostQueue.h"
#include "simplify/FanSurface.h"
#include "simplify/Quadric.h"
#include "simplify/SampleTracker.h"
#include "simplify/SurfaceDistance.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minVertices = 1'000;
// Part of a squared distance along the surface in the cost: where that is flat,
// triangles become even, and the best point is one near the others.
constexpr double pointShare = 1e-8;
constexpr double borderShare = 10.0;         // weight of the border beside the surface
constexpr double defaultColorReach = 255.0;  // steps of a channel that count like an average edge
constexpr double maxColorFactor = 1000.0;    // that limits may put on it, or take off
constexpr double maxReach = 3.0;             // of the best point from the middle of the edge, in edges
// Where the result is too far away, this much of the limit is used at the next
// attempt; after some such attempts everywhere.
constexpr float shareStep = 0.5f;
constexpr int numLocalAttempts = 8, maxAttempts = 16;
constexpr int maxLooks = 16;        // for bad triangles
constexpr double costShare = 0.1;   // of the dearest merge that made one, up to which the next attempt goes
constexpr double costGrowth = 4.0;  // of a refused collapse, until it is tried again
constexpr double minCost = 1e-30;
constexpr std::uint32_t maxTries = 8;

// A possible collapse in the queue. Outdated if a vertex has changed since.
struct Candidate {
    double cost;
    std::uint32_t u, v;
    std::uint32_t versions;  // sum of both
    std::uint32_t numTries;

    bool operator<(const Candidate& other) const {
        if (cost != other.cost) return cost < other.cost;
        return u != other.u ? u < other.u : v < other.v;
    }
};

struct Placement {
    double cost = std::numeric_limits<double>::infinity();
    Vector3 p;
};

double averageEdge(const TriangleMesh& mesh) {
    double sum = 0.0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3)
        for (std::size_t k = 0; k < 3; ++k)
            sum += (mesh.vertices[mesh.indices[i + k]] - mesh.vertices[mesh.indices[i + (k + 1) % 3]]).length();
    return sum / static_cast<double>(mesh.indices.size());
}

VertexColors colorsOf(const TriangleMesh& mesh) {
    VertexColors colors;
    for (const Point3& p : mesh.vertices) {
        colors.vChannels.push_back({double(p.r), double(p.g), double(p.b), double(p.a)});
        colors.vHas.push_back(p.hasColor());
    }
    return colors;
}

std::uint8_t byteOf(double channel) {
    return static_cast<std::uint8_t>(std::clamp(channel + 0.5, 0.0, 255.0));
}

class QuadricReduction {
public:
    // edge_: average length. vShares: by vertex, of maxError. vLimits_: by vertex, of the cost of merges.
    QuadricReduction(const TriangleMesh& flat_, const ReduceOptions& options_, double edge_,
                     const std::vector<float>& vShares, std::vector<double> vLimits_)
        : flat(flat_),
          options(options_),
          vLimits(std::move(vLimits_)),
          vLastCosts(vLimits.size()),
          source(flat),
          mesh(source),
          vQuadrics(source.vPos.size()),
          edge(edge_) {
        if (flat.hasColor()) {
            sourceColors = colorsOf(flat);
            colors = sourceColors;
            vColorQuadrics.resize(vQuadrics.size());
        }
        const bool bBound = std::isfinite(options.maxError);
        lengthPerStep = edge / defaultColorReach;
        if (bBound)
            lengthPerStep = std::clamp(options.maxError / options.maxColorStep, lengthPerStep / maxColorFactor,
                                       lengthPerStep * maxColorFactor);
        if (bBound) {
            pTracker = std::make_unique<SampleTracker>(source, mesh, hasColor() ? &sourceColors : nullptr,
                                                       hasColor() ? &colors : nullptr, options.maxError, edge,
                                                       options.maxColorStep, vShares);
        }
        center = middle();
    }

    // False if nothing has come of it.
    bool run() {
        Progress* pScoring = getProgress()->getChildProgressSetTodo("RM_rtscore", 2);
        makeQuadrics();
        pScoring->tick();
        fillQueue();
        pScoring->finish(true);
        const std::size_t before = mesh.getNumLive();
        const std::size_t toRemove = before - std::min(before, options.targetTriangles);
        // Within an error there may be further attempts: each takes half of what is left.
        const bool bBound = std::isfinite(options.maxError);
        Progress* pLoop = getProgress()->getChildProgressSetTodo("RM_rtloop", bBound ? 2 * toRemove : toRemove);
        std::size_t numTried = 0;
        Candidate candidate;
        const auto isOutdated = [this](const Candidate& c) { return versionsOf(c.u, c.v) != c.versions; };
        while (mesh.getNumLive() > options.targetTriangles && queue.pop(candidate, isOutdated)) {
            if (!isOutdated(candidate) && collapse(candidate)) pLoop->tick();
            // Refused merges tell nothing, and there can be many in a row.
            if (Run* const pRun = getRun(); pRun && ++numTried % 256 == 0) pRun->poll();
        }
        if (!bBound) pLoop->finish(true);
        queue = {};
        return mesh.getNumLive() < before;
    }

    // What is left. Vertices and triangles stay in order; a vertex that has not
    // moved stays bit for bit.
    TriangleMesh takeMesh() {
        TriangleMesh result;
        vNewIndex.assign(source.vPos.size(), CollapseMesh::none);
        for (const std::uint32_t vertex : mesh.getTriples())
            if (vertex != CollapseMesh::none) vNewIndex[vertex] = 0;
        for (std::uint32_t i = 0; i < vNewIndex.size(); ++i) {
            if (vNewIndex[i] == CollapseMesh::none) continue;
            vNewIndex[i] = static_cast<std::uint32_t>(result.vertices.size());
            vOldIndex.push_back(i);
            result.vertices.push_back(pointAt(i));
        }
        for (const std::uint32_t vertex : mesh.getTriples())
            if (vertex != CollapseMesh::none) result.indices.push_back(vNewIndex[vertex]);
        return result;
    }

    // After takeMesh(): what has become corners of these triangles merges less at the next attempt.
    void limitAt(const TriangleMesh& result, const std::vector<std::uint32_t>& vTriangles,
                 std::vector<double>& vNextLimits) const {
        std::vector<bool> vMarked(result.vertices.size());
        for (const std::uint32_t t : vTriangles)
            for (std::size_t k = 0; k < 3; ++k) vMarked[result.indices[3 * std::size_t{t} + k]] = true;
        const std::vector<std::uint32_t> vHeirs = findHeirs();
        for (std::size_t i = 0; i < vHeirs.size(); ++i) {
            if (vHeirs[i] == CollapseMesh::none || !vMarked[vHeirs[i]]) continue;
            const double last = vLastCosts[vOldIndex[vHeirs[i]]];
            vNextLimits[i] = std::min(vNextLimits[i], last > minCost ? costShare * last : -1.0);
        }
    }

    // After takeMesh(): the error, or, if that is beyond the limit, what to do about
    // it at the next attempt.
    double measure(const TriangleMesh& result, std::vector<float>& vShares) const {
        Progress* pMeasuring = getProgress()->getChildProgressSetTodo("RM_rtmeas", 2);
        const FanSurface reduced(result);
        const double limit = options.maxError;
        const SurfaceDistance forth(source, reduced, findHeirs(), edge, 0.0, limit * limit);
        const double sqForth = forth.findLargestSq();
        pMeasuring->tick();
        const SurfaceDistance back(reduced, source, vOldIndex, edge, sqForth, limit * limit);
        const double sq = std::max(sqForth, back.findLargestSq());
        pMeasuring->finish(true);
        if (sq <= limit * limit) return std::sqrt(sq);
        std::vector<std::uint32_t> vTight;
        for (const SurfaceDistance::Excess& excess : forth.findBeyond(limit * limit)) vTight.push_back(excess.from);
        for (const SurfaceDistance::Excess& excess : back.findBeyond(limit * limit)) vTight.push_back(excess.to);
        tighten(vTight, vShares);
        return std::sqrt(sq);
    }

private:
    bool hasColor() const { return !vColorQuadrics.empty(); }
    Vector3 local(const Vector3& p) const { return difference(p, center); }

    // Of the box: sums stay small beside what they are sums of.
    Vector3 middle() const {
        Vector3 low = source.vPos.front(), high = low;
        for (const Vector3& p : source.vPos) {
            low.set(std::min(low.vx, p.vx), std::min(low.vy, p.vy), std::min(low.vz, p.vz));
            high.set(std::max(high.vx, p.vx), std::max(high.vy, p.vy), std::max(high.vz, p.vz));
        }
        low += high;
        return low * 0.5;
    }

    // --- quadrics ---

    void makeQuadrics() {
        parallelChunks(vQuadrics.size(), minVertices, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const auto vertex = static_cast<std::uint32_t>(i);
                for (const std::uint32_t triangle : source.fan(vertex)) addTriangle(vertex, triangle);
                if (mesh.isBorder(vertex)) addBorder(vertex);
            }
        });
    }

    void addTriangle(std::uint32_t vertex, std::uint32_t triangle) {
        const Vector3 a = local(source.corner(triangle, 0)), b = local(source.corner(triangle, 1)),
                      c = local(source.corner(triangle, 2));
        const Vector3 ab = difference(b, a), ac = difference(c, a), n = cross(ab, ac);
        const double length = n.length();
        if (!(length > 0.0)) return;
        const double area = 0.5 * length;
        const Vector3 normal = n / length;
        Vector3 sum = a;
        sum += b;
        sum += c;
        vQuadrics[vertex].addPlane(normal, normal * a, area);
        vQuadrics[vertex].addPoint(sum / 3.0, pointShare * area);
        if (!hasColor()) return;
        std::array<Channels, 3> lengths;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t corner = source.indices[3 * std::size_t{triangle} + i];
            if (!colors.vHas[corner]) return;
            for (std::size_t k = 0; k < 4; ++k) lengths[i][k] = colors.vChannels[corner][k] * lengthPerStep;
        }
        vColorQuadrics[vertex].addTriangle(a, ab, ac, lengths, area, vQuadrics[vertex]);
    }

    // Planes through the border edges at the vertex, upright on their triangles.
    void addBorder(std::uint32_t vertex) {
        for (const std::uint32_t triangle : source.fan(vertex)) {
            const std::uint32_t* const k = &source.indices[3 * std::size_t{triangle}];
            const std::size_t ici = k[0] == vertex ? 0 : k[1] == vertex ? 1 : 2;
            const std::uint32_t next = k[(ici + 1) % 3], previous = k[(ici + 2) % 3];
            const Vector3 a = local(source.vPos[vertex]), toNext = difference(local(source.vPos[next]), a),
                          toPrevious = difference(local(source.vPos[previous]), a), n = cross(toNext, toPrevious);
            if (isBorderEdge(vertex, next)) addBorderPlane(vertex, a, toNext, n);
            if (isBorderEdge(vertex, previous)) addBorderPlane(vertex, a, toPrevious, n);
        }
    }

    void addBorderPlane(std::uint32_t vertex, const Vector3& a, const Vector3& side, const Vector3& n) {
        const Vector3 upright = cross(side, n);
        const double length = upright.length();
        if (!(length > 0.0)) return;
        const Vector3 direction = upright / length;
        vQuadrics[vertex].addPlane(direction, direction * a, borderShare * side.sqLength());
    }

    bool isBorderEdge(std::uint32_t vertex, std::uint32_t other) const {
        const std::uint32_t around = source.lesserOf(vertex, other), end = around == vertex ? other : vertex;
        const auto fan = source.fan(around);
        return std::count_if(fan.begin(), fan.end(), [&](std::uint32_t triangle) {
                   const std::uint32_t* const k = &source.indices[3 * std::size_t{triangle}];
                   return k[0] == end || k[1] == end || k[2] == end;
               }) == 1;
    }

    // --- candidates ---

    // bFree: at the best point of all; else at the better end.
    Placement place(std::uint32_t u, std::uint32_t v, bool bFree) const {
        const bool bAtU = mesh.mayEndAt(u, v), bAtV = mesh.mayEndAt(v, u);
        Placement placement;
        if (!bAtU && !bAtV) return placement;
        Quadric q = vQuadrics[u];
        q += vQuadrics[v];
        if (hasColor()) {
            ColorQuadric color = vColorQuadrics[u];
            color += vColorQuadrics[v];
            color.takeBestFrom(q);
        }
        const Vector3 &a = mesh.vPos[u], &b = mesh.vPos[v];
        if (bFree && bAtU && bAtV && findBest(q, a, b, placement)) return placement;
        const double costU = bAtU ? q.at(local(a)) : placement.cost, costV = bAtV ? q.at(local(b)) : placement.cost;
        placement.cost = std::min(costU, costV);
        placement.p = costU <= costV ? a : b;
        return placement;
    }

    // Not far away, where the quadrics know nothing.
    bool findBest(const Quadric& q, const Vector3& a, const Vector3& b, Placement& placement) const {
        Vector3 m = a, p;
        m += b;
        m *= 0.5;
        m = local(m);
        if (!q.findMinimum(m, p)) return false;
        if (difference(p, m).sqLength() > maxReach * maxReach * difference(a, b).sqLength()) return false;
        placement.cost = q.at(p);
        p += center;
        placement.p = p;
        return true;
    }

    // A second try is at the better end, and so on in turn.
    static bool isFree(std::uint32_t numTries) { return numTries % 2 == 0; }

    std::uint32_t versionsOf(std::uint32_t u, std::uint32_t v) const { return mesh.getVersion(u) + mesh.getVersion(v); }

    void fillQueue() {
        const auto score = [&](std::size_t begin, std::size_t end) {
            std::vector<Candidate> vScored;
            std::vector<std::uint32_t> vOther;
            for (std::size_t i = begin; i < end; ++i) {
                const auto u = static_cast<std::uint32_t>(i);
                vOther.clear();
                for (const std::uint32_t triangle : source.fan(u))
                    for (std::size_t k = 0; k < 3; ++k)
                        if (const std::uint32_t v = source.indices[3 * std::size_t{triangle} + k]; v > u)
                            vOther.push_back(v);
                std::sort(vOther.begin(), vOther.end());
                vOther.erase(std::unique(vOther.begin(), vOther.end()), vOther.end());
                for (const std::uint32_t v : vOther) {
                    const double cost = place(u, v, true).cost;
                    if (std::isfinite(cost)) vScored.push_back({cost, u, v, 0, 0});
                }
            }
            return vScored;
        };
        for (const auto& vScored : parallelChunkResults<std::vector<Candidate>>(vQuadrics.size(), minVertices, score))
            for (const Candidate& candidate : vScored) queue.push(candidate);
    }

    void push(const Candidate& candidate) {
        if (std::isfinite(candidate.cost)) queue.push(candidate);
    }

    // False if it was refused.
    bool collapse(const Candidate& candidate) {
        const std::uint32_t u = candidate.u, v = candidate.v;
        if (candidate.cost > std::min(vLimits[u], vLimits[v])) return false;
        if (!mesh.begin(u, v)) {
            postpone(candidate);
            return false;
        }
        const Placement placement = place(u, v, isFree(candidate.numTries));
        if (mesh.distorts(placement.p) || !collapse(u, v, placement.p)) {
            postpone(candidate);
            return false;
        }
        vLimits[u] = std::min(vLimits[u], vLimits[v]);
        vLastCosts[u] = std::max({candidate.cost, vLastCosts[u], vLastCosts[v]});
        mesh.forEachNeighbour(u, [&](std::uint32_t other) {
            const auto [first, second] = std::minmax(u, other);
            push({place(first, second, true).cost, first, second, versionsOf(first, second), 0});
        });
        return true;
    }

    // What is refused now may do at the better end, or when more around has changed.
    void postpone(Candidate candidate) {
        if (++candidate.numTries > maxTries) return;
        if (isFree(candidate.numTries)) {
            candidate.cost = std::max(candidate.cost, minCost) * costGrowth;
        } else {
            candidate.cost = std::max(candidate.cost, place(candidate.u, candidate.v, false).cost);
        }
        push(candidate);
    }

    bool collapse(std::uint32_t u, std::uint32_t v, const Vector3& p) {
        ColorQuadric colorQuadric;
        Channels color{};
        bool bColor = false;
        if (hasColor()) {
            colorQuadric = vColorQuadrics[u];
            colorQuadric += vColorQuadrics[v];
            bColor = findColor(u, v, p, colorQuadric, color);
        }
        if (pTracker && !pTracker->allows(u, v, p, bColor ? &color : nullptr)) return false;
        mesh.collapse(p);
        vQuadrics[u] += vQuadrics[v];
        if (hasColor()) {
            vColorQuadrics[u] = colorQuadric;
            colors.vChannels[u] = color;
            colors.vHas[u] = bColor;
        }
        if (pTracker) pTracker->follow();
        return true;
    }

    bool findColor(std::uint32_t u, std::uint32_t v, const Vector3& p, const ColorQuadric& q, Channels& color) const {
        if (q.weight > 0.0) {
            color = q.bestAt(local(p));
            for (double& channel : color) channel = std::clamp(channel / lengthPerStep, 0.0, 255.0);
            return true;
        }
        color = colors.vChannels[colors.vHas[u] ? u : v];
        return colors.vHas[u] || colors.vHas[v];
    }

    // --- result ---

    Point3 pointAt(std::uint32_t vertex) const {
        Point3 point = flat.vertices[vertex];
        if (mesh.getVersion(vertex) == 0) return point;
        const Vector3& p = mesh.vPos[vertex];
        point.set(p.vx, p.vy, p.vz);
        if (!hasColor() || !colors.vHas[vertex]) return point;
        const Channels& c = colors.vChannels[vertex];
        point.setColor(byteOf(c[0]), byteOf(c[1]), byteOf(c[2]), byteOf(c[3]));
        return point;
    }

    // By vertex of the source: the one of the result that it has become part of. Each
    // goes to a lower one, so that is known before.
    std::vector<std::uint32_t> findHeirs() const {
        std::vector<std::uint32_t> vHeirs(vNewIndex.size());
        for (std::uint32_t i = 0; i < vHeirs.size(); ++i) {
            const std::uint32_t heir = mesh.getHeir(i);
            vHeirs[i] = heir == i ? vNewIndex[i] : vHeirs[heir];
        }
        return vHeirs;
    }

    // The vertices of triangles of the source get a smaller share of the limit.
    void tighten(std::vector<std::uint32_t>& vTriangles, std::vector<float>& vShares) const {
        std::vector<std::uint32_t> vTight;
        for (const std::uint32_t triangle : vTriangles)
            for (std::size_t i = 0; i < 3; ++i) vTight.push_back(source.indices[3 * std::size_t{triangle} + i]);
        std::sort(vTight.begin(), vTight.end());
        vTight.erase(std::unique(vTight.begin(), vTight.end()), vTight.end());
        for (const std::uint32_t vertex : vTight) vShares[vertex] *= shareStep;
    }

    const TriangleMesh& flat;
    const ReduceOptions& options;
    std::vector<double> vLimits, vLastCosts;  // by vertex: of the cost of merges, and that of the last one
    const FanSurface source;                  // the mesh as it was
    CollapseMesh mesh;
    VertexColors sourceColors, colors;         // empty without colours
    std::vector<Quadric> vQuadrics;            // by vertex, from the center
    std::vector<ColorQuadric> vColorQuadrics;  // likewise; empty without colours
    const double edge;                         // average length of the source
    double lengthPerStep = 0.0;                // of a colour channel
    std::unique_ptr<SampleTracker> pTracker;   // null without a limit
    Vector3 center;
    CostQueue<Candidate> queue;                       // the cheapest first
    std::vector<std::uint32_t> vNewIndex, vOldIndex;  // of vertices: of the result by those of the source, and back
};

}  // namespace

double reduceTo(TriangleMesh& mesh, const ReduceOptions& options, const FindTriangles& findBad) {
    ASSEX(options.maxError>=0.0);
    ASSEX(options.targetTriangles>0 || std::isfinite(options.maxError));
    ASSEX(options.maxColorStep>0.0);
    const double edge = averageEdge(mesh);
    if (!(edge > 0.0) || !std::isfinite(edge)) return 0.0;
    std::vector<float> vShares(mesh.vertices.size(), 1.0f);
    std::vector<double> vLimits(mesh.vertices.size(), std::numeric_limits<double>::infinity());
    int numLooks = 0;
    for (int attempt = 0; attempt < maxAttempts;) {
        if (attempt >= numLocalAttempts)
            for (float& share : vShares) share *= shareStep;
        QuadricReduction reduction(mesh, options, edge, vShares, vLimits);
        if (!reduction.run()) return 0.0;
        TriangleMesh result = reduction.takeMesh();
        const double error = reduction.measure(result, vShares);
        if (!(error <= options.maxError)) {
            ++attempt;
            continue;
        }
        const bool bLook = findBad && numLooks++ < maxLooks;
        if (const std::vector<std::uint32_t> vBad = bLook ? findBad(result) : std::vector<std::uint32_t>();
            !vBad.empty()) {
            reduction.limitAt(result, vBad, vLimits);
            continue;
        }
        mesh = std::move(result);
        return error;
    }
    return 0.0;
}

}  // namespace QUOR_ZEF
