#include "untangle/Knot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "geometry/freeFunctions.h"
#include "untangle/holeFilling.h"

namespace QUOR_ZEF {

namespace {

using Corners = SurfaceChange::Corners;
using Indices = std::vector<std::uint32_t>;
constexpr std::uint32_t none = TangledSurface::none;

Coords operator+(const Coords& a, const Coords& b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
Coords operator-(const Coords& a, const Coords& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
Coords operator*(const Coords& a, double factor) {
    return {a[0] * factor, a[1] * factor, a[2] * factor};
}
double length(const Coords& a) {
    return std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]);
}
Coords cross(const Coords& a, const Coords& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

void sortUnique(Indices& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
}

bool contains(const Indices& v, std::uint32_t number) {
    return std::ranges::binary_search(v, number);
}

}  // namespace

std::size_t Knot::loosen(Indices vTriangles) {
    std::size_t numPairs = findPairs(vTriangles);
    while (numPairs > 0 && !surface.isTired()) {
        vTriangles = vTangled;
        if (!tryAll()) break;
        vTriangles.insert(vTriangles.end(), vTangled.begin(), vTangled.end());
        numPairs = findPairs(std::move(vTriangles));
    }
    return numPairs;
}

// Sets vPairs and vTangled.
std::size_t Knot::findPairs(Indices vTriangles) {
    sortUnique(vTriangles);
    std::erase_if(vTriangles, [&](std::uint32_t t) { return !surface.isAlive(t) || !surface.hasArea(t); });
    vPairs.clear();
    vTangled.clear();
    if (!vTriangles.empty()) {
        lookNear(vTriangles);
        forEachPairOf(vTriangles, [&](std::uint32_t t, std::uint32_t u) {
            vPairs.push_back({t, u});
            return true;
        });
    }
    for (const TrianglePair& pair : vPairs) vTangled.insert(vTangled.end(), pair.begin(), pair.end());
    sortUnique(vTangled);
    numRingsSeen = -1;
    return vPairs.size();
}

void Knot::lookNear(const Indices& vTriangles) {
    CoordBox box = surface.box(vTriangles.front());
    for (const std::uint32_t t : vTriangles) box.include(surface.box(t));
    for (std::size_t i = 0; i < 3; ++i) {
        box.low[i] -= limits.maxMove;
        box.high[i] += limits.maxMove;
    }
    vNear.clear();
    widest = 0.0;
    for (const std::uint32_t t : surface.near(box)) {
        vNear.push_back({surface.box(t), t});
        widest = std::max(widest, vNear.back().box.high[0] - vNear.back().box.low[0]);
    }
    std::ranges::stable_sort(vNear, {}, [](const Boxed& b) { return b.box.low[0]; });
}

// So that what moves up to so many rings away finds what it meets.
void Knot::lookAround(int numRings) {
    if (numRings <= numRingsSeen) return;
    lookNear(ringsAround(numRings));
    numRingsSeen = numRings;
}

Indices Knot::ringsAround(int numRings) const {
    Indices vFaces = vTangled;
    for (int i = 0; i < numRings; ++i) vFaces = surface.ringOf(vFaces);
    return vFaces;
}

// Calls fn(t, u) for each pair of these, ascending, with each other and with what is near; until it is
// false.
template <class Fn>
void Knot::forEachPairOf(const Indices& vTriangles, const Fn& fn) const {
    std::vector<Boxed> vOwn;
    vOwn.reserve(vTriangles.size());
    for (const std::uint32_t t : vTriangles) vOwn.push_back({surface.box(t), t});
    for (std::size_t i = 0; i < vOwn.size(); ++i) {
        const auto& [box, t] = vOwn[i];
        auto it = std::ranges::lower_bound(vNear, box.low[0] - widest, {}, [](const Boxed& b) { return b.box.low[0]; });
        for (; it != vNear.end() && it->box.low[0] <= box.high[0]; ++it) {
            surface.addWork(1);
            const std::uint32_t u = it->triangle;
            if (it->box.meets(box) && !contains(vTriangles, u) && surface.isAlive(u) && surface.hasArea(u) &&
                surface.intersect(t, u) && !fn(t, u))
                return;
        }
        surface.addWork(vOwn.size() - i - 1);
        for (std::size_t k = i + 1; k < vOwn.size(); ++k)
            if (vOwn[k].box.meets(box) && surface.intersect(t, vOwn[k].triangle) && !fn(t, vOwn[k].triangle)) return;
    }
}

std::size_t Knot::countKnownPairs(const Indices& vTriangles) const {
    const auto isOf = [&](const TrianglePair& pair) {
        return contains(vTriangles, pair[0]) || contains(vTriangles, pair[1]);
    };
    return static_cast<std::size_t>(std::ranges::count_if(vPairs, isOf));
}

// Those without an area count as well, and so do pairs of other knots.
bool Knot::hasFewerPairs(const Indices& vTriangles, std::size_t than) const {
    Indices vWithArea = vTriangles;
    std::erase_if(vWithArea, [&](std::uint32_t t) { return !surface.hasArea(t); });
    std::size_t num = vTriangles.size() - vWithArea.size();
    if (num < than) forEachPairOf(vWithArea, [&](std::uint32_t, std::uint32_t) { return ++num < than; });
    return num < than;
}

// What costs and changes least comes first.
bool Knot::tryAll() {
    return flipEdges() || smooth(0, 3) || collapseEdges() || smooth(1, 5) || smooth(2, 10) || renew(1) || pushApart() ||
           smooth(3, 30) || renew(2) || renew(3) || trimBorders() ||
           (limits.bDrastically && (smooth(6, 100) || cutOut()));
}

// Keeps the change if it helps; then what it has touched is tangled.
bool Knot::attempt(SurfaceChange& change) {
    if (surface.isTired()) return false;
    Indices vFaces = change.vGone;
    const auto addFans = [&] {
        for (const auto& [vertex, place] : change.vMoves) {
            const std::span<const std::uint32_t> around = surface.fan(vertex);
            vFaces.insert(vFaces.end(), around.begin(), around.end());
        }
        sortUnique(vFaces);
        std::erase_if(vFaces, [&](std::uint32_t t) { return !surface.isAlive(t); });
    };
    addFans();
    const std::size_t numBefore = countKnownPairs(vFaces);
    if (numBefore == 0) return false;
    const Indices vOuter = outerSidesOf(change.vGone);
    const std::uint32_t first = surface.apply(change);
    for (std::uint32_t i = 0; i < change.vAdded.size(); ++i) vFaces.push_back(first + i);
    addFans();
    if (isSound(change, vOuter) && hasFewerPairs(vFaces, numBefore)) {
        vTangled = std::move(vFaces);
        return true;
    }
    surface.undo(change);
    return false;
}

// The ends of sides that triangles beyond have.
Indices Knot::outerSidesOf(const Indices& vTriangles) const {
    Indices vEnds;
    for (const std::uint32_t t : vTriangles) {
        const Corners& c = surface.corners(t);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t a = c[i], b = c[(i + 1) % 3], other = surface.across(a, b);
            if (other != none && std::ranges::count(vTriangles, other) == 0) vEnds.insert(vEnds.end(), {a, b});
        }
    }
    return vEnds;
}

// Without triangles added, those gone open the surface as intended.
bool Knot::isSound(const SurfaceChange& change, const Indices& vOuter) const {
    Indices vVertices = verticesOf(change.vGone);
    for (const Corners& t : change.vAdded) vVertices.insert(vVertices.end(), t.begin(), t.end());
    sortUnique(vVertices);
    if (!std::ranges::all_of(vVertices, [&](std::uint32_t i) { return surface.isManifoldAt(i); })) return false;
    for (std::size_t i = 0; i < vOuter.size() && !change.vAdded.empty(); i += 2)
        if (surface.across(vOuter[i + 1], vOuter[i]) == none) return false;
    return true;
}

bool Knot::flipEdges() {
    lookAround(1);
    for (const std::uint32_t t : Indices(vTangled)) {
        const Corners c = surface.corners(t);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t a = c[i], b = c[(i + 1) % 3], third = c[(i + 2) % 3], u = surface.across(a, b);
            if (u == none) continue;
            const Corners& d = surface.corners(u);
            const std::uint32_t fourth = d[0] + d[1] + d[2] - a - b;
            if (fourth == third) continue;
            SurfaceChange change;
            change.vGone = {std::min(t, u), std::max(t, u)};
            change.vAdded = {{third, fourth, b}, {fourth, third, a}};
            if (attempt(change)) return true;
        }
    }
    return false;
}

Coords Knot::hold(std::uint32_t vertex, const Coords& wanted) const {
    const Coords away = wanted - vFirst[vertex];
    const double distance = length(away);
    Coords place = distance > limits.maxMove ? vFirst[vertex] + away * (limits.maxMove / distance) : wanted;
    if (limits.bFloats)
        for (double& x : place) x = nearestFloat(x);
    return place;
}

// Along the border for those that are there.
Coords Knot::meanAround(std::uint32_t vertex, const std::vector<Coords>& vPlaces, const Indices& vVertices) const {
    Coords sum{}, sumAlong{};
    double num = 0.0, numAlong = 0.0;
    const auto placeOf = [&](std::uint32_t i) {
        const auto it = std::lower_bound(vVertices.begin(), vVertices.end(), i);
        return it != vVertices.end() && *it == i ? vPlaces[static_cast<std::size_t>(it - vVertices.begin())]
                                                 : surface.place(i);
    };
    for (const std::uint32_t t : surface.fan(vertex)) {
        const Corners& c = surface.corners(t);
        const auto i = static_cast<std::size_t>(std::find(c.begin(), c.end(), vertex) - c.begin());
        const std::uint32_t next = c[(i + 1) % 3], last = c[(i + 2) % 3];
        const Coords placeOfNext = placeOf(next), placeOfLast = placeOf(last);
        sum = sum + placeOfNext + placeOfLast;
        num += 2.0;
        if (surface.across(vertex, next) == none) {
            sumAlong = sumAlong + placeOfNext;
            ++numAlong;
        }
        if (surface.across(last, vertex) == none) {
            sumAlong = sumAlong + placeOfLast;
            ++numAlong;
        }
    }
    return numAlong > 0.0 ? sumAlong * (1.0 / numAlong) : sum * (1.0 / num);
}

// Each vertex of the triangles within some rings goes halfway to the middle of its neighbours.
bool Knot::smooth(int numRings, int numSteps) {
    lookAround(numRings + 1);
    Indices vVertices = verticesOf(ringsAround(numRings));
    std::erase_if(vVertices, [&](std::uint32_t i) { return surface.isFixed(i); });
    std::vector<Coords> vPlaces;
    for (const std::uint32_t i : vVertices) vPlaces.push_back(surface.place(i));
    for (int step = 0; step < numSteps; ++step) {
        std::vector<Coords> vNext;
        for (std::size_t i = 0; i < vVertices.size(); ++i)
            vNext.push_back(hold(vVertices[i], (vPlaces[i] + meanAround(vVertices[i], vPlaces, vVertices)) * 0.5));
        vPlaces = std::move(vNext);
        if (step != 0 && step + 1 != numSteps) continue;
        SurfaceChange change;
        for (std::size_t i = 0; i < vVertices.size(); ++i) change.vMoves.emplace_back(vVertices[i], vPlaces[i]);
        if (attempt(change)) return true;
    }
    return false;
}

std::optional<SurfaceChange> Knot::collapse(std::uint32_t from, std::uint32_t to) const {
    if (surface.isFixed(from) || (surface.isAtBorder(from) && !surface.isAtBorder(to))) return std::nullopt;
    SurfaceChange change;
    for (const std::uint32_t t : surface.fan(from)) {
        Corners c = surface.corners(t);
        change.vGone.push_back(t);
        if (std::ranges::count(c, to) > 0) continue;
        std::ranges::replace(c, from, to);
        change.vAdded.push_back(c);
    }
    if (change.vAdded.empty()) return std::nullopt;
    if (!surface.isFixed(to) && surface.isAtBorder(from) == surface.isAtBorder(to))
        change.vMoves.emplace_back(to, hold(to, (surface.place(from) + surface.place(to)) * 0.5));
    return change;
}

bool Knot::collapseEdges() {
    lookAround(1);
    for (const std::uint32_t t : Indices(vTangled)) {
        const Corners c = surface.corners(t);
        for (std::size_t i = 0; i < 3; ++i) {
            for (const auto& [from, to] : {std::pair(c[i], c[(i + 1) % 3]), std::pair(c[(i + 1) % 3], c[i])}) {
                std::optional<SurfaceChange> change = collapse(from, to);
                if (change && attempt(*change)) return true;
            }
        }
    }
    return false;
}

// Moves one of the sheets that meet along its normal.
bool Knot::pushApart() {
    lookAround(2);
    for (const Indices& vPiece : piecesOf(vTangled)) {
        Coords normal{};
        for (const std::uint32_t t : vPiece) {
            const Corners& c = surface.corners(t);
            normal =
                normal + cross(surface.place(c[1]) - surface.place(c[0]), surface.place(c[2]) - surface.place(c[0]));
        }
        if (!(length(normal) > 0.0)) continue;
        normal = normal * (1.0 / length(normal));
        const Indices vInner = verticesOf(vPiece), vOuter = verticesOf(surface.ringOf(vPiece));
        for (const double share : {0.15, -0.15, 0.4, -0.4, 0.8, -0.8}) {
            SurfaceChange change;
            for (const std::uint32_t i : vOuter) {
                if (surface.isFixed(i)) continue;
                const double step = share * limits.maxMove * (contains(vInner, i) ? 1.0 : 0.5);
                change.vMoves.emplace_back(i, hold(i, surface.place(i) + normal * step));
            }
            if (attempt(change)) return true;
        }
    }
    return false;
}

// Cuts pieces out and closes them again, around one vertex or without any.
bool Knot::renew(int numRings) {
    constexpr std::size_t longestLoop = 48;
    lookAround(numRings);
    for (const Indices& vPiece : piecesOf(ringsAround(numRings))) {
        const auto vLoop = loopAround(surface, vPiece);
        if (!vLoop || vLoop->size() > longestLoop) continue;
        Coords middle{};
        for (const std::uint32_t i : *vLoop) middle = middle + surface.place(i);
        middle = middle * (1.0 / static_cast<double>(vLoop->size()));
        std::uint32_t nearest = none;
        for (const std::uint32_t i : verticesOf(vPiece)) {
            if (std::ranges::count(*vLoop, i) > 0 || surface.isFixed(i)) continue;
            if (nearest == none || length(vFirst[i] - middle) < length(vFirst[nearest] - middle)) nearest = i;
        }
        SurfaceChange change;
        change.vGone = vPiece;
        if (nearest != none) {
            for (std::size_t i = 0; i < vLoop->size(); ++i)
                change.vAdded.push_back({(*vLoop)[i], (*vLoop)[(i + 1) % vLoop->size()], nearest});
            change.vMoves.emplace_back(nearest, hold(nearest, middle));
            if (attempt(change)) return true;
        }
        change.vMoves.clear();
        change.vAdded = fillLoop(surface, *vLoop, vPiece);
        if (change.vAdded.size() + 2 == vLoop->size() && attempt(change)) return true;
    }
    return false;
}

// What would hang together at a vertex only goes as well.
bool Knot::cut(Indices vGone) {
    constexpr int mostTries = 4;
    for (int i = 0; i < mostTries; ++i) {
        SurfaceChange change;
        change.vGone = vGone;
        surface.apply(change);
        Indices vLoose = verticesOf(vGone);
        std::erase_if(vLoose, [&](std::uint32_t vertex) { return surface.isManifoldAt(vertex); });
        surface.undo(change);
        if (vLoose.empty()) {
            if (!attempt(change)) return false;
            dropScraps(vGone);
            return true;
        }
        for (const std::uint32_t vertex : vLoose) {
            const std::span<const std::uint32_t> around = surface.fan(vertex);
            vGone.insert(vGone.end(), around.begin(), around.end());
        }
        sortUnique(vGone);
    }
    return false;
}

// What a cut has left as a piece of few triangles goes.
void Knot::dropScraps(const Indices& vGone) {
    constexpr std::size_t few = 30;
    for (const std::uint32_t vertex : verticesOf(vGone)) {
        const std::span<const std::uint32_t> around = surface.fan(vertex);
        Indices vPiece(around.begin(), around.end());
        for (std::size_t num = 0; num < vPiece.size() && vPiece.size() <= few;) {
            num = vPiece.size();
            vPiece = surface.ringOf(vPiece);
        }
        if (vPiece.empty() || vPiece.size() > few) continue;
        SurfaceChange change;
        change.vGone = vPiece;
        surface.apply(change);
    }
}

bool Knot::cutOut() {
    constexpr int mostRings = 3;
    lookAround(mostRings);
    for (const std::uint32_t t : Indices(vTangled))
        if (cut({t})) return true;
    for (Indices vPiece : piecesOf(vTangled)) {
        for (int i = 0; i <= mostRings; ++i) {
            if (cut(vPiece)) return true;
            vPiece = surface.ringOf(vPiece);
        }
    }
    return false;
}

// Ragged rims lose triangles where nothing else helps.
bool Knot::trimBorders() {
    constexpr int numRings = 3;
    const Indices vVertices = verticesOf(ringsAround(numRings));
    return std::ranges::any_of(vVertices, [&](std::uint32_t i) { return surface.isAtBorder(i); }) && cutOut();
}

Indices Knot::verticesOf(const Indices& vTriangles) const {
    Indices vVertices;
    for (const std::uint32_t t : vTriangles) {
        const Corners& c = surface.corners(t);
        vVertices.insert(vVertices.end(), c.begin(), c.end());
    }
    sortUnique(vVertices);
    return vVertices;
}

// Parts that hang together at vertices.
std::vector<Indices> Knot::piecesOf(const Indices& vTriangles) const {
    std::vector<Indices> vPieces;
    Indices vLeft = vTriangles;
    while (!vLeft.empty()) {
        Indices vPiece = {vLeft.front()};
        for (std::size_t numBefore = 0; numBefore < vPiece.size();) {
            numBefore = vPiece.size();
            vPiece = surface.ringOf(vPiece);
            std::erase_if(vPiece, [&](std::uint32_t t) { return !contains(vTriangles, t); });
        }
        std::erase_if(vLeft, [&](std::uint32_t t) { return contains(vPiece, t); });
        vPieces.push_back(std::move(vPiece));
    }
    return vPieces;
}

}  // namespace QUOR_ZEF
