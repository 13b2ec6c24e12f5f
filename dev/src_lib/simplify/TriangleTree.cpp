#include "simplify/TriangleTree.h"

#include <algorithm>
#include <numeric>

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t maxLeaf = 8;  // triangles

}  // namespace

double TriangleTree::Box::sqDistance(const Vector3& p) const {
    const double x = std::max({low.vx - p.vx, 0.0, p.vx - high.vx});
    const double y = std::max({low.vy - p.vy, 0.0, p.vy - high.vy});
    const double z = std::max({low.vz - p.vz, 0.0, p.vz - high.vz});
    return x * x + y * y + z * z;
}

TriangleTree::TriangleTree(const FanSurface& surface_) : surface(surface_), vOrder(surface.numTriangles()) {
    std::iota(vOrder.begin(), vOrder.end(), 0u);
    vMiddles.reserve(vOrder.size());
    for (const std::uint32_t triangle : vOrder) {
        Vector3 sum = surface.corner(triangle, 0);
        sum += surface.corner(triangle, 1);
        sum += surface.corner(triangle, 2);
        vMiddles.push_back(sum / 3.0);
    }
    if (!vOrder.empty()) vNodes.push_back({boxOf(0, surface.numTriangles()), 0, surface.numTriangles(), 0});
}

TriangleTree::Box TriangleTree::boxOf(std::uint32_t begin, std::uint32_t end) const {
    Box box{surface.corner(vOrder[begin], 0), surface.corner(vOrder[begin], 0)};
    for (std::uint32_t k = begin; k < end; ++k) {
        for (std::uint32_t i = 0; i < 3; ++i) {
            const Vector3& p = surface.corner(vOrder[k], i);
            box.low.set(std::min(box.low.vx, p.vx), std::min(box.low.vy, p.vy), std::min(box.low.vz, p.vz));
            box.high.set(std::max(box.high.vx, p.vx), std::max(box.high.vy, p.vy), std::max(box.high.vz, p.vz));
        }
    }
    return box;
}

// Halves along the longest side of the box.
void TriangleTree::split(std::uint32_t number) {
    const auto [box, begin, end, half] = vNodes[number];
    const int axis = difference(box.high, box.low).getMaxAbsIndex();
    double Vector3::*const pAxis = axis == 0 ? &Vector3::vx : axis == 1 ? &Vector3::vy : &Vector3::vz;
    const std::uint32_t middle = begin + (end - begin) / 2;
    std::nth_element(vOrder.begin() + begin, vOrder.begin() + middle, vOrder.begin() + end,
                     [&](std::uint32_t a, std::uint32_t b) {
                         const double atA = vMiddles[a].*pAxis, atB = vMiddles[b].*pAxis;
                         return atA != atB ? atA < atB : a < b;
                     });
    vNodes[number].half = static_cast<std::uint32_t>(vNodes.size());
    vNodes.push_back({boxOf(begin, middle), begin, middle, 0});
    vNodes.push_back({boxOf(middle, end), middle, end, 0});
}

void TriangleTree::splitAll() {
    for (std::uint32_t number = 0; number < vNodes.size(); ++number)
        if (vNodes[number].end - vNodes[number].begin > maxLeaf && vNodes[number].half == 0) split(number);
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
    std::size_t num = 0;
    if (!vNodes.empty()) stack[num++] = {vNodes[0].box.sqDistance(p), 0};
    while (num > 0) {
        const auto [sq, number] = stack[--num];
        if (!(sq < foot.sqDistance)) continue;
        const std::uint32_t begin = vNodes[number].begin, end = vNodes[number].end;
        if (end - begin <= maxLeaf) {
            for (std::uint32_t k = begin; k < end; ++k) takeCloser(p, vOrder[k], foot);
            continue;
        }
        splitNode(number);
        const std::uint32_t half = vNodes[number].half;
        std::pair<double, std::uint32_t> first{vNodes[half].box.sqDistance(p), half},
            second{vNodes[half + 1].box.sqDistance(p), half + 1};
        if (first.first < second.first) std::swap(first, second);
        stack[num++] = first;
        stack[num++] = second;
    }
}

void TriangleTree::takeCloser(const Vector3& p, std::uint32_t triangle, Foot& foot) const {
    Foot other;
    other.triangle = triangle;
    findFoot(p, surface.corner(triangle, 0), surface.corner(triangle, 1), surface.corner(triangle, 2), other);
    if (other.sqDistance < foot.sqDistance) foot = other;
}

}  // namespace QUOR_ZEF
