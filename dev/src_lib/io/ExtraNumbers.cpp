#include "io/ExtraNumbers.h"

#include <cmath>

namespace QUOR_ZEF {

namespace {

constexpr double fullByte = 255.0, fullWord = 65535.0;

template <class Fn>
bool isEach(const Vector3& v, const Fn& fn) {
    return fn(v.vx) && fn(v.vy) && fn(v.vz);
}

bool isWhole(double value) {
    return value == std::floor(value);
}

}  // namespace

void ExtraNumbers::add(const Vector3& v, bool bLast) {
    const auto fitsWord = [](double value) { return value >= 0.0 && value <= fullWord && isWhole(value); };
    const auto isShare = [](double value) { return value >= 0.0 && value <= 1.0; };
    if (!isEach(v, fitsWord)) notWhole = std::min(notWhole, num);
    if (!isEach(v, isShare)) notShare = std::min(notShare, num);
    if (!(std::abs(v.length() - 1.0) <= 1e-3)) notUnit = std::min(notUnit, num);
    bFraction = bFraction || !isEach(v, isWhole);
    bAlwaysLast = bAlwaysLast && bLast;
    if (endOfWhole() == never) widen(v);
    ++num;
}

void ExtraNumbers::append(const ExtraNumbers& next) {
    if (endOfWhole() == never) widen(next.largest);
    bFraction = bFraction || next.bFraction;
    bAlwaysLast = bAlwaysLast && next.bAlwaysLast;
    const auto join = [this](std::uint64_t& mine, std::uint64_t its) {
        if (its != never) mine = std::min(mine, num + its);
    };
    join(notWhole, next.notWhole);
    join(notShare, next.notShare);
    join(notUnit, next.notUnit);
    join(lack, next.lack);
    num += next.num;
}

void ExtraNumbers::widen(const Vector3& v) {
    largest = {std::max(largest.vx, v.vx), std::max(largest.vy, v.vy), std::max(largest.vz, v.vz)};
}

std::uint64_t ExtraNumbers::firstOdd() const {
    return std::min(lack, std::max({notWhole, notShare, notUnit}));
}

ExtraNumbers::Meaning ExtraNumbers::meaning(bool bNamed) const {
    if (!mayMean() || num == 0) return Meaning::NONE;
    const bool bWhole = notWhole == never, bShares = notShare == never;
    if (!bNamed && notUnit == never && bAlwaysLast) return Meaning::NORMALS;
    return (bNamed ? bWhole || (bShares && bFraction) : areColorsUnnamed()) ? Meaning::COLORS : Meaning::NONE;
}

// An intensity with counts beside it is none.
bool ExtraNumbers::areColorsUnnamed() const {
    if (notWhole != never) return notShare == never && bFraction && bAlwaysLast;
    if (mostOfAll() <= fullByte) return mostOfAll() > 1.0;
    return bAlwaysLast && std::min({largest.vx, largest.vy, largest.vz}) > fullByte;
}

bool ExtraNumbers::seemedColors() const {
    return !mayMean() && firstOdd() == endOfWhole() && mostOfAll() > 1.0;
}

void ExtraNumbers::applyColors(const std::vector<Vector3>& v, std::vector<Point3>& vPoints) const {
    const double full = notWhole != never ? 1.0 : mostOfAll() > fullByte ? fullWord : fullByte;
    const auto toByte = [full](double value) {
        return static_cast<std::uint8_t>(std::floor(fullByte * value / full + 0.5));
    };
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        vPoints[i].setColor(toByte(v[i].vx), toByte(v[i].vy), toByte(v[i].vz), 255);
}

}  // namespace QUOR_ZEF
