#include "simplify/TriangleTree.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// Triangles that a search looks at in most surfaces. Where so many boxes overlap that it takes more, as in a tangle of
// large triangles, most of them are ruled out by their planes.
constexpr std::size_t fewLooks = 64;
constexpr std::uint32_t maxLeaf = 8, maxLongLeaf = 64;  // triangles

Vector3 middleOf(const FanSurface& surface, std::uint32_t triangle) {
    Vector3 sum = surface.corner(triangle, 0);
    sum += surface.corner(triangle, 1);
    sum += surface.corner(triangle, 2);
    return sum / 3.0;
}

double sqFromSegment(const Vector3& p, const Vector3& from, const Vector3& along, double sqLength) {
    const Vector3 toP = difference(p, from);
    const double share = sqLength > 0.0 ? std::clamp(toP * along / sqLength, 0.0, 1.0) : 0.0;
    return difference(toP, along * share).sqLength();
}

// Across a unit vector.
Vector3 acrossOf(const Vector3& way, const Vector3& axis) {
    return difference(way, axis * (axis * way));
}

double angleBetween(const Vector3& a, const Vector3& b) {
    return std::atan2(cross(a, b).length(), a * b);
}

// For what rounding does to sums of products with a coordinate.
constexpr double rounding = 4e-15;

double sumAbs(const Vector3& p) {
    return std::abs(p.vx) + std::abs(p.vy) + std::abs(p.vz);
}

}  // namespace

// Whatever the direction is, what it tells is true; so it need not be exact.
void TriangleTree::Planes::set(std::size_t i, const std::array<Vector3, 3>& corners) {
    const Vector3 across = cross(difference(corners[1], corners[0]), difference(corners[2], corners[0]));
    constexpr double least = 0x1p-450;  // below, the square of a length has lost its digits
    const double length = across.length();
    const Vector3 n = length > least ? across * (1.0 / length) : Vector3();
    x[i] = n.vx;
    y[i] = n.vy;
    z[i] = n.vz;
    offset[i] = n * corners[0];
    for (const Vector3& corner : corners)
        slack[i] = std::max(slack[i], std::abs(n * corner - offset[i]) + rounding * sumAbs(corner));
}

std::array<bool, TriangleTree::Planes::size> TriangleTree::Planes::areFarther(const Vector3& p, double distance) const {
    const double bound = distance * (1.0 + 1e-12) + rounding * sumAbs(p);
    std::array<bool, size> vFarther;
    for (std::size_t i = 0; i < size; ++i)
        vFarther[i] = std::abs(x[i] * p.vx + y[i] * p.vy + z[i] * p.vz - offset[i]) - slack[i] > bound;
    return vFarther;
}

void TriangleTree::Box::include(const Vector3& p) {
    low.set(std::min(low.vx, p.vx), std::min(low.vy, p.vy), std::min(low.vz, p.vz));
    high.set(std::max(high.vx, p.vx), std::max(high.vy, p.vy), std::max(high.vz, p.vz));
}

double TriangleTree::Box::sqDistance(const Vector3& p) const {
    const double x = std::max({low.vx - p.vx, 0.0, p.vx - high.vx});
    const double y = std::max({low.vy - p.vy, 0.0, p.vy - high.vy});
    const double z = std::max({low.vz - p.vz, 0.0, p.vz - high.vz});
    return x * x + y * y + z * z;
}

TriangleTree::TriangleTree(const FanSurface& surface_) : surface(surface_), vOrder(surface.numTriangles()) {
    std::iota(vOrder.begin(), vOrder.end(), 0u);
    vMiddles.reserve(vOrder.size());
    for (std::uint32_t i = 0; i < surface.vPos.size() && !bHubs; ++i) bHubs = surface.isCrowded(i);
    for (const std::uint32_t triangle : vOrder) {
        const std::uint32_t hub = hubOf(triangle);
        vMiddles.push_back(hub == none ? middleOf(surface, triangle) : surface.vPos[hub]);
    }
    if (!vOrder.empty()) addNode(0, surface.numTriangles());
}

std::uint32_t TriangleTree::hubOf(std::uint32_t triangle) const {
    for (std::uint32_t i = 0; i < 3 && bHubs; ++i)
        if (const std::uint32_t vertex = surface.indices[3 * triangle + i]; surface.isCrowded(vertex)) return vertex;
    return none;
}

bool TriangleTree::haveOneHub(std::uint32_t begin, std::uint32_t end) const {
    const std::uint32_t hub = hubOf(vOrder[begin]);
    for (std::uint32_t k = begin; hub != none && k < end; ++k)
        if (hubOf(vOrder[k]) != hub) return false;
    return hub != none;
}

// Towards the mean of the middles.
TriangleTree::Body TriangleTree::bodyOf(std::uint32_t begin, std::uint32_t end) const {
    const Vector3& hub = surface.vPos[hubOf(vOrder[begin])];
    Vector3 sum;
    for (std::uint32_t k = begin; k < end; ++k) sum += difference(middleOf(surface, vOrder[k]), hub);
    Body body{hub, sum * (1.5 / static_cast<double>(end - begin)), 0.0, 0.0, none};
    body.sqLength = body.along.sqLength();
    double sqRadius = 0.0;
    for (std::uint32_t k = begin; k < end; ++k)
        for (std::uint32_t i = 0; i < 3; ++i)
            sqRadius =
                std::max(sqRadius, sqFromSegment(surface.corner(vOrder[k], i), body.from, body.along, body.sqLength));
    body.radius = std::sqrt(sqRadius) * 1.000001;  // for what rounding takes away
    return body;
}

// A second crowded corner of all triangles, or none.
std::uint32_t TriangleTree::commonNeighbour(std::uint32_t hub, std::uint32_t begin, std::uint32_t end) const {
    for (std::uint32_t i = 0; i < 3; ++i) {
        const std::uint32_t vertex = surface.indices[3 * vOrder[begin] + i];
        if (vertex == hub || !surface.isCrowded(vertex)) continue;
        const auto hasVertex = [&](std::uint32_t t) {
            const std::uint32_t* const pCorners = &surface.indices[3 * t];
            return pCorners[0] == vertex || pCorners[1] == vertex || pCorners[2] == vertex;
        };
        if (std::all_of(vOrder.begin() + begin, vOrder.begin() + end, hasVertex)) return vertex;
    }
    return none;
}

TriangleTree::Wedge TriangleTree::wedgeOf(const Vector3& from, const Vector3& to, std::uint32_t begin,
                                          std::uint32_t end) const {
    constexpr double margin = 1e-9;  // for what rounding takes away
    Wedge wedge{normalize(difference(to, from)), {}, 0.0};
    // The corner off the line is farthest from it; those on it are of any direction.
    const auto outward = [&](std::uint32_t triangle) {
        return acrossOf(difference(middleOf(surface, triangle), from), wedge.axis);
    };
    for (std::uint32_t k = begin; k < end; ++k) wedge.middle += normalize(outward(vOrder[k]));
    wedge.middle = normalize(acrossOf(wedge.middle, wedge.axis));
    for (std::uint32_t k = begin; k < end; ++k)
        wedge.angle = std::max(wedge.angle, angleBetween(wedge.middle, outward(vOrder[k])) + margin);
    return wedge;
}

void TriangleTree::addNode(std::uint32_t begin, std::uint32_t end) {
    std::uint32_t body = none;
    if (bHubs && haveOneHub(begin, end)) {
        body = static_cast<std::uint32_t>(vBodies.size());
        vBodies.push_back(bodyOf(begin, end));
        const std::uint32_t hub = hubOf(vOrder[begin]), other = commonNeighbour(hub, begin, end);
        if (other != none) {
            vBodies.back().wedge = static_cast<std::uint32_t>(vWedges.size());
            vWedges.push_back(wedgeOf(surface.vPos[hub], surface.vPos[other], begin, end));
        }
    }
    vNodes.push_back({boxOf(begin, end), begin, end, 0, body, none});
}

// At most that of any of its triangles.
double TriangleTree::sqDistance(const Vector3& p, const Node& node) const {
    const double sqToBox = node.box.sqDistance(p);
    if (node.body == none) return sqToBox;
    const Body& body = vBodies[node.body];
    double distance = std::sqrt(sqFromSegment(p, body.from, body.along, body.sqLength)) * 0.999999 - body.radius;
    if (body.wedge != none) distance = std::max(distance, distanceToWedge(p, body));
    return distance > 0.0 ? std::max(sqToBox, distance * distance) : sqToBox;
}

double TriangleTree::distanceToWedge(const Vector3& p, const Body& body) const {
    const Wedge& wedge = vWedges[body.wedge];
    const Vector3 way = difference(p, body.from), across = acrossOf(way, wedge.axis);
    const double beside = angleBetween(wedge.middle, across) - wedge.angle;
    if (!(beside > 0.0)) return 0.0;
    return across.length() * (beside < 0.5 * M_PI ? std::sin(beside) : 1.0) * 0.999999 - way.length() * 1e-12;
}

TriangleTree::Box TriangleTree::boxOf(std::uint32_t begin, std::uint32_t end) const {
    Box box{surface.corner(vOrder[begin], 0), surface.corner(vOrder[begin], 0)};
    for (std::uint32_t k = begin; k < end; ++k) {
        for (std::uint32_t i = 0; i < 3; ++i) box.include(surface.corner(vOrder[k], i));
    }
    return box;
}

// Halves along the longest side of the box. Needles of one hub lie along the way to their middles, so these
// tell which are neighbours.
void TriangleTree::split(std::uint32_t number) {
    const auto [box, begin, end, half, body, planes] = vNodes[number];
    Box spread = box;
    if (body != none) {
        for (std::uint32_t k = begin; k < end; ++k) vMiddles[vOrder[k]] = middleOf(surface, vOrder[k]);
        spread = {vMiddles[vOrder[begin]], vMiddles[vOrder[begin]]};
        for (std::uint32_t k = begin; k < end; ++k) spread.include(vMiddles[vOrder[k]]);
    }
    const int axis = difference(spread.high, spread.low).getMaxAbsIndex();
    double Vector3::*const pAxis = axis == 0 ? &Vector3::vx : axis == 1 ? &Vector3::vy : &Vector3::vz;
    const std::uint32_t middle = begin + (end - begin) / 2;
    std::nth_element(vOrder.begin() + begin, vOrder.begin() + middle, vOrder.begin() + end,
                     [&](std::uint32_t a, std::uint32_t b) {
                         const double atA = vMiddles[a].*pAxis, atB = vMiddles[b].*pAxis;
                         return atA != atB ? atA < atB : a < b;
                     });
    vNodes[number].half = static_cast<std::uint32_t>(vNodes.size());
    addNode(begin, middle);
    addNode(middle, end);
}

void TriangleTree::splitAll() {
    for (std::uint32_t number = 0; number < vNodes.size(); ++number) {
        const std::uint32_t num = vNodes[number].end - vNodes[number].begin;
        if (num <= maxLongLeaf && vNodes[number].half == 0 && isLong(vNodes[number])) {
            makePlanes(vNodes[number]);
        } else if (num > maxLeaf && vNodes[number].half == 0) {
            split(number);
        }
    }
}

// Much longer than the leaves of a surface would be: many searches come upon it in vain.
bool TriangleTree::isLong(const Node& node) const {
    constexpr double much = 64.0;  // squared
    const auto sqDiagonal = [](const Box& box) { return difference(box.high, box.low).sqLength(); };
    return sqDiagonal(node.box) * surface.numTriangles() > much * maxLeaf * sqDiagonal(vNodes[0].box);
}

void TriangleTree::makePlanes(Node& node) {
    if (node.planes != none) return;
    node.planes = static_cast<std::uint32_t>(vPlanes.size());
    for (std::uint32_t k = node.begin; k < node.end; ++k) {
        const std::size_t i = (k - node.begin) % Planes::size;
        if (i == 0) vPlanes.emplace_back();
        vPlanes.back().set(i,
                           {surface.corner(vOrder[k], 0), surface.corner(vOrder[k], 1), surface.corner(vOrder[k], 2)});
    }
}

void TriangleTree::findCloser(const Vector3& p, Foot& foot) {
    search(p, foot, [this](std::uint32_t number) {
        if (vNodes[number].half == 0) split(number);
    });
}

void TriangleTree::findCloserIn(const Vector3& p, Foot& foot) const {
    search(p, foot, [](std::uint32_t /*number*/) {});
}

template <class Split>
void TriangleTree::search(const Vector3& p, Foot& foot, const Split& splitNode) const {
    // Halving 2^32 triangles is no deeper.
    std::pair<double, std::uint32_t> stack[64];
    std::size_t num = 0, numLooks = 0;
    if (!vNodes.empty()) stack[num++] = {sqDistance(p, vNodes[0]), 0};
    while (num > 0) {
        const auto [sq, number] = stack[--num];
        if (!(sq < foot.sqDistance)) continue;
        const Node& node = vNodes[number];
        if (node.planes != none) {
            lookPastPlanes(p, node, foot);
            continue;
        }
        if (node.end - node.begin <= maxLeaf) {
            lookAt(p, node, (numLooks += node.end - node.begin) > fewLooks, foot);
            continue;
        }
        splitNode(number);
        const std::uint32_t half = vNodes[number].half;
        std::pair<double, std::uint32_t> first{sqDistance(p, vNodes[half]), half},
            second{sqDistance(p, vNodes[half + 1]), half + 1};
        if (first.first < second.first) std::swap(first, second);
        stack[num++] = first;
        stack[num++] = second;
    }
}

void TriangleTree::lookAt(const Vector3& p, const Node& leaf, bool bMany, Foot& foot) const {
    for (std::uint32_t k = leaf.begin; k < leaf.end; ++k) {
        const std::uint32_t t = vOrder[k];
        if (bMany &&
            isPlaneFarther(p, surface.corner(t, 0), surface.corner(t, 1), surface.corner(t, 2), foot.sqDistance))
            continue;
        takeCloser(p, t, foot);
    }
}

void TriangleTree::lookPastPlanes(const Vector3& p, const Node& leaf, Foot& foot) const {
    const Planes* pPlanes = &vPlanes[leaf.planes];
    for (std::uint32_t begin = leaf.begin; begin < leaf.end; begin += Planes::size) {
        const std::array<bool, Planes::size> vFarther = (pPlanes++)->areFarther(p, std::sqrt(foot.sqDistance));
        for (std::uint32_t i = 0; i < std::min(Planes::size, leaf.end - begin); ++i)
            if (!vFarther[i]) takeCloser(p, vOrder[begin + i], foot);
    }
}

void TriangleTree::takeCloser(const Vector3& p, std::uint32_t triangle, Foot& foot) const {
    Foot other;
    other.triangle = triangle;
    findFoot(p, surface.corner(triangle, 0), surface.corner(triangle, 1), surface.corner(triangle, 2), other);
    if (other.sqDistance < foot.sqDistance) foot = other;
}

}  // namespace QUOR_ZEF
