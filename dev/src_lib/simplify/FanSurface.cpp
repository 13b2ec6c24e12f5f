#include "simplify/FanSurface.h"

#include <cmath>
#include <utility>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// Of the segment from corner i to corner j of the triangle, if it is closer than
// the foot so far.
void takeSegment(const Vector3& p, const Vector3& a, const Vector3& b, std::size_t i, std::size_t j, Foot& foot) {
    const Vector3 ab = difference(b, a), ap = difference(p, a);
    const double sq = ab.sqLength(), along = ab * ap;
    const double t = along <= 0.0 || sq == 0.0 ? 0.0 : along >= sq ? 1.0 : along / sq;
    const double sqDistance = difference(ap, ab * t).sqLength();
    if (!(sqDistance < foot.sqDistance)) return;
    foot.sqDistance = sqDistance;
    foot.weights = {};
    foot.weights[i] = 1.0 - t;
    foot.weights[j] = t;
}

}  // namespace

// By the regions around a triangle: C. Ericson, Real-time collision detection, 5.1.5.
void findFoot(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c, Foot& foot) {
    const Vector3 ab = difference(b, a), ac = difference(c, a), ap = difference(p, a);
    const double d1 = ab * ap, d2 = ac * ap;
    const auto set = [&](double v, double w) {
        foot.weights = {1.0 - v - w, v, w};
        Vector3 rest = ap;
        rest -= ab * v;
        rest -= ac * w;
        foot.sqDistance = rest.sqLength();
    };
    if (d1 <= 0.0 && d2 <= 0.0) return set(0.0, 0.0);
    const Vector3 bp = difference(p, b);
    const double d3 = ab * bp, d4 = ac * bp;
    if (d3 >= 0.0 && d4 <= d3) return set(1.0, 0.0);
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0 && d1 > d3) return set(d1 / (d1 - d3), 0.0);
    const Vector3 cp = difference(p, c);
    const double d5 = ab * cp, d6 = ac * cp;
    if (d6 >= 0.0 && d5 <= d6) return set(0.0, 1.0);
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0 && d2 > d6) return set(0.0, d2 / (d2 - d6));
    const double va = d3 * d6 - d5 * d4;
    const double s = d4 - d3, t = d5 - d6;
    if (va <= 0.0 && s >= 0.0 && t >= 0.0 && s + t > 0.0) return set(t / (s + t), s / (s + t));
    const double sum = va + vb + vc;
    if (va > 0.0 && vb > 0.0 && vc > 0.0) return set(vb / sum, vc / sum);
    foot.sqDistance = std::numeric_limits<double>::infinity();
    takeSegment(p, a, b, 0, 1, foot);
    takeSegment(p, b, c, 1, 2, foot);
    takeSegment(p, c, a, 2, 0, foot);
}

// n: the normal, q: what its coordinates are differences of, which tells how far rounding may lead; so does sum for the
// product with the way to p. Thousands of roundings are allowed for.
bool isPlaneFarther(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c, double sqDistance) {
    constexpr double rounding = 1e-12;
    const Vector3 e = difference(b, a), f = difference(c, a), w = difference(p, a);
    const Vector3 minuends(e.vy * f.vz, e.vz * f.vx, e.vx * f.vy), n = cross(e, f);
    const Vector3 q(2.0 * std::abs(minuends.vx) + std::abs(n.vx), 2.0 * std::abs(minuends.vy) + std::abs(n.vy),
                    2.0 * std::abs(minuends.vz) + std::abs(n.vz));
    const double product = std::abs(n * w);
    const double sum = std::abs(w.vx) * q.vx + std::abs(w.vy) * q.vy + std::abs(w.vz) * q.vz;
    if (!(product > rounding * 1e3 * sum)) return false;
    const double sqNormal = 1.001 * n.sqLength() + rounding * rounding * q.sqLength();
    const double least = rounding * rounding * (e.sqLength() + f.sqLength() + w.sqLength());
    return 0.999 * product * product > sqNormal * std::max(sqDistance, least) && sqNormal > 0x1p-900;
}

namespace {

std::vector<Vector3> positionsOf(const TriangleMesh& mesh) {
    std::vector<Vector3> vPos;
    vPos.reserve(mesh.vertices.size());
    for (const Point3& p : mesh.vertices) vPos.emplace_back(p.px, p.py, p.pz);
    return vPos;
}

}  // namespace

FanSurface::FanSurface(const TriangleMesh& mesh) : FanSurface(positionsOf(mesh), mesh.indices) {}

FanSurface::FanSurface(std::vector<Vector3> vPos_, std::vector<std::uint32_t> indices_)
    : vPos(std::move(vPos_)), indices(std::move(indices_)), vStart(vPos.size() + 1), vFans(indices.size()) {
    for (const std::uint32_t vertex : indices) ++vStart[vertex];
    for (std::size_t i = 1; i < vStart.size(); ++i) vStart[i] += vStart[i - 1];
    for (std::size_t i = indices.size(); i-- > 0;) vFans[--vStart[indices[i]]] = static_cast<std::uint32_t>(i / 3);
}

bool FanSurface::isFirstAtSide(std::uint32_t triangle, std::uint32_t i) const {
    const std::uint32_t a = indices[3 * triangle + i], b = indices[3 * triangle + (i + 1) % 3];
    const std::uint32_t around = lesserOf(a, b), end = around == a ? b : a;
    const auto view = fan(around);
    return *std::find_if(view.begin(), view.end(), [&](std::uint32_t other) {
        const std::uint32_t* const k = &indices[3 * std::size_t{other}];
        return k[0] == end || k[1] == end || k[2] == end;
    }) == triangle;
}

std::uint32_t FanSurface::nearestCorner(const Foot& foot) const {
    const auto heaviest = std::max_element(foot.weights.begin(), foot.weights.end()) - foot.weights.begin();
    return indices[3 * std::size_t{foot.triangle} + static_cast<std::size_t>(heaviest)];
}

Foot FanSurface::walkFrom(std::uint32_t vertex, const Vector3& p, double sqEnough) const {
    Foot best;
    for (;;) {
        bool bCloser = false;
        for (const std::uint32_t triangle : partOfFan(vertex)) {
            Foot foot;
            foot.triangle = triangle;
            findFoot(p, corner(triangle, 0), corner(triangle, 1), corner(triangle, 2), foot);
            if (!(foot.sqDistance < best.sqDistance)) continue;
            best = foot;
            if (best.sqDistance <= sqEnough) return best;
            bCloser = true;
        }
        if (!bCloser) return best;
        // A foot inside of a triangle is as close as it gets there; one on a side
        // may have something closer beyond it.
        const auto& w = best.weights;
        if (w[0] > 0.0 && w[1] > 0.0 && w[2] > 0.0) return best;
        std::uint32_t next = vertex;
        double highest = 0.0;
        for (std::uint32_t i = 0; i < 3; ++i) {
            const std::uint32_t other = indices[3 * best.triangle + i];
            if (other == vertex || !(w[i] > highest)) continue;
            highest = w[i];
            next = other;
        }
        if (next == vertex) return best;
        vertex = next;
    }
}

}  // namespace QUOR_ZEF
