#include "repair/Rotx.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double rankTolerance = 1.0;  // degrees
constexpr uint64 lowAxisCell = 1, highAxisCell = 2;
constexpr uint64 numTableCells = 4;  // per axis

using IntVector = std::array<int, 3>;

IntVector difference(uint64 from, uint64 to) {
    const GridCoords f = unpackRCD(from), t = unpackRCD(to);
    return {static_cast<int>(t.x) - static_cast<int>(f.x), static_cast<int>(t.y) - static_cast<int>(f.y),
            static_cast<int>(t.z) - static_cast<int>(f.z)};
}

// The cross product without common factors: equal for all cells of one half
// plane around the axis u, so that their angles are equal to the last bit.
IntVector direction(const IntVector& u, const IntVector& w) {
    IntVector n = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
    const int factor = std::gcd(std::gcd(n[0], n[1]), n[2]);
    const bool bOK = factor != 0;
    ASSEX(bOK);
    for (int& c : n) c /= factor;
    return n;
}

int dot(const IntVector& a, const IntVector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Stretching the axes by s stretches a cross product by the product of all over s.
Vector3 stretchedNormal(const IntVector& n, const Calc& calc) {
    return normalize(
        Vector3(n[0] * calc.cellY * calc.cellZ, n[1] * calc.cellZ * calc.cellX, n[2] * calc.cellX * calc.cellY));
}

// Degrees from the half plane of w0 to that of w, seen from the side that the
// normal of (axis, w0) shows: below the plane it is beyond 180. Which side that
// is, and whether it is in the plane, must not hang on rounding.
double angleAround(const IntVector& axis, const IntVector& w0, const IntVector& w, const Calc& calc) {
    const IntVector n = direction(axis, w0), m = direction(axis, w);
    const int side = dot(n, w);
    if (side == 0) return dot(n, m) > 0 ? 0.0 : 180.0;
    const double angle = getAngleDeg(stretchedNormal(n, calc), stretchedNormal(m, calc));
    return side < 0 ? 360.0 - angle : angle;
}

// Some corner is common to all three if no axis parts two of them by a whole cell.
bool haveCommonCorner(uint64 p, uint64 q, uint64 r) {
    return std::max({p, q, r}) - std::min({p, q, r}) <= 1;
}

template <class Entry>
void putInOrder(std::vector<Entry>& v, const Entry& entry) {
    const auto it = std::lower_bound(v.begin(), v.end(), entry.first,
                                     [](const Entry& e, const auto& key) { return e.first < key; });
    if (it != v.end() && it->first == entry.first)
        it->second = entry.second;
    else
        v.insert(it, entry);
}

}  // namespace

Rotx::Rotx(CMesh* pCMesh_, bool bBuild_) : pCMesh(pCMesh_), bBuild(bBuild_), pCalc(pCMesh->getCalc()) {
    if (!bBuild) return;
    std::vector<uint64> vCells;
    for (uint64 x = lowAxisCell; x <= highAxisCell; ++x)
        for (uint64 y = lowAxisCell; y <= highAxisCell; ++y)
            for (uint64 z = lowAxisCell; z <= highAxisCell; ++z) vCells.push_back(packRCD(x, y, z));
    for (const uint64 a : vCells)
        for (const uint64 b : vCells)
            if (a != b) sAxisPairs.emplace_back(a, b);
    std::vector<uint64> vThird;
    for (const auto& [a, b] : sAxisPairs) {
        vThird.clear();
        getThirdRCDs(a, b, vThird);
        sortThirdRCDs(a, b, vThird);
    }
}

std::uint32_t Rotx::getKey(uint64 a, uint64 b, uint64 c) {
    std::uint32_t key = 0;
    for (const uint64 code : {c, b, a}) {
        const auto [x, y, z] = unpackRCD(code);
        key = key << 9 | static_cast<std::uint32_t>((x & 7) << 6 | (y & 7) << 3 | (z & 7));
    }
    return key;
}

void Rotx::getThirdRCDs(uint64 a, uint64 b, std::vector<uint64>& vThird) {
    const auto [ax, ay, az] = unpackRCD(a);
    const auto [bx, by, bz] = unpackRCD(b);
    for (uint64 x = 0; x < numTableCells; ++x)
        for (uint64 y = 0; y < numTableCells; ++y)
            for (uint64 z = 0; z < numTableCells; ++z) {
                const uint64 c = packRCD(x, y, z);
                if (c != a && c != b && haveCommonCorner(ax, bx, x) && haveCommonCorner(ay, by, y) &&
                    haveCommonCorner(az, bz, z))
                    vThird.push_back(c);
            }
}

void Rotx::sortThirdRCDs(uint64 a, uint64 b, std::vector<uint64>& vThird) {
    ASSEX(!vThird.empty());
    const IntVector axis = difference(a, b), w0 = difference(a, vThird[0]);
    std::vector<std::pair<double, uint64>> vAngle;
    for (const uint64 q : vThird) vAngle.emplace_back(angleAround(axis, w0, difference(a, q), *pCalc), q);
    std::sort(vAngle.begin(), vAngle.end());
    std::int32_t rank = 0;
    double base = 0.0;
    vThird.clear();
    for (const auto& [angle, q] : vAngle) {
        if (std::abs(base - angle) > rankTolerance) {
            base = angle;
            ++rank;
        }
        putInOrder(mRank, {getKey(a, b, q), rank});
        vThird.push_back(q);
    }
}

}  // namespace QUOR_ZEF
