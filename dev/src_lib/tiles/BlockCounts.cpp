#include "tiles/BlockCounts.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

constexpr int mostExponent = 1000;  // sides and their inverses are doubles
constexpr double endOfPlaces = 0x1p61;

std::array<double, 3> coordsOf(const Point3& p) {
    return {p.px, p.py, p.pz};
}

// The middle of them along each axis, and how wide the nine tenths around it are along the longest one.
std::pair<Point3, double> middleOf(std::span<const Point3> points) {
    std::array<double, 3> middle{};
    double width = 0.0;
    std::vector<double> v(points.size());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        std::transform(points.begin(), points.end(), v.begin(), [&](const Point3& p) { return coordsOf(p)[axis]; });
        std::sort(v.begin(), v.end());
        middle[axis] = v[v.size() / 2];
        width = std::max(width, v[v.size() - 1 - v.size() / 20] - v[v.size() / 20]);
    }
    return {Point3(middle[0], middle[1], middle[2]), width};
}

// Rounded down, also where it is negative.
std::int64_t halved(std::int64_t number, int times) {
    return number >> times;
}

}  // namespace

// Blocks of a thousandth of what comes first are fine in any case; where that is little of the scan, they merge.
void BlockCounts::begin(std::span<const Point3> points) {
    constexpr int blocksAcross = 10;  // as a power of two
    const auto [middle, width] = middleOf(points);
    const double largest = std::max({std::abs(middle.px), std::abs(middle.py), std::abs(middle.pz)});
    // Numbers on the lattice must be whole ones that doubles hold.
    const int least = largest > 0.0 ? std::ilogb(largest) - 50 : -mostExponent;
    const bool bWide = std::isfinite(width) && width > 0.0;
    setSide(bWide ? std::max(std::ilogb(width) - blocksAcross, least) : least, middle);
    vSlots.assign(std::size_t{1} << 12, Block{{}, 0});
}

void BlockCounts::setSide(int newExponent, const Point3& at) {
    exponent = std::clamp(newExponent, -mostExponent, mostExponent);
    side = std::ldexp(1.0, exponent);
    inverse = std::ldexp(1.0, -exponent);
    for (std::size_t axis = 0; axis < 3; ++axis) base[axis] = std::floor(coordsOf(at)[axis] * inverse);
}

BlockCounts::Place BlockCounts::placeOf(const Point3& p) const {
    const auto along = [&](double coord, double from) {
        return static_cast<std::int64_t>(std::clamp(std::floor(coord * inverse) - from, -endOfPlaces, endOfPlaces));
    };
    return {along(p.px, base[0]), along(p.py, base[1]), along(p.pz, base[2])};
}

Point3 BlockCounts::centreOf(const Place& place) const {
    const auto along = [&](std::size_t axis) { return (base[axis] + static_cast<double>(place[axis]) + 0.5) * side; };
    return {along(0), along(1), along(2)};
}

BlockCounts::Place BlockCounts::aboveOf(const Place& place, int level) const {
    Place above{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto from = static_cast<std::int64_t>(base[axis]);
        above[axis] = halved(from + place[axis], level) - halved(from, level);
    }
    return above;
}

BlockCounts::Block& BlockCounts::slotOf(const Place& place) {
    uint64 mixed = 0;
    for (const std::int64_t number : place)
        mixed =
            (std::rotl(mixed, 29) ^ static_cast<uint64>(number)) * 0x9e3779b97f4a7c15;  // 2^64 over the golden ratio
    std::size_t slot = static_cast<std::size_t>(mixed >> (64 - std::countr_zero(vSlots.size())));
    while (vSlots[slot].num != 0 && vSlots[slot].place != place) slot = (slot + 1) & (vSlots.size() - 1);
    return vSlots[slot];
}

void BlockCounts::addTo(const Place& place, uint64 num) {
    Block& block = slotOf(place);
    const bool bNew = block.num == 0;
    block.place = place;
    block.num += num;
    if (bNew && 2 * ++numBlocks > vSlots.size()) grow();
}

void BlockCounts::grow() {
    std::vector<Block> vOld(2 * vSlots.size(), Block{{}, 0});
    vOld.swap(vSlots);
    for (const Block& block : vOld)
        if (block.num != 0) slotOf(block.place) = block;
}

void BlockCounts::doubleSide() {
    const std::vector<Block> vOld = getBlocks();
    std::vector<Place> vAbove;
    vAbove.reserve(vOld.size());
    for (const Block& block : vOld) vAbove.push_back(aboveOf(block.place, 1));
    ++exponent;
    side *= 2.0;
    inverse *= 0.5;
    for (double& from : base) from = std::floor(0.5 * from);
    std::fill(vSlots.begin(), vSlots.end(), Block{{}, 0});
    numBlocks = 0;
    for (std::size_t i = 0; i < vOld.size(); ++i) addTo(vAbove[i], vOld[i].num);
}

// Points follow each other in space as in the file, so that most lie where the last one lay.
void BlockCounts::add(std::span<const Point3> points) {
    if (points.empty()) return;
    if (vSlots.empty()) begin(points);
    Place last = placeOf(points.front());
    uint64 numThere = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        pollRun(i);
        const Place place = placeOf(points[i]);
        if (place != last) {
            addTo(last, std::exchange(numThere, 0));
            last = place;
        }
        ++numThere;
        if (numBlocks <= mostBlocks) continue;
        addTo(last, std::exchange(numThere, 0));
        while (numBlocks > mostBlocks && exponent < mostExponent) doubleSide();
        last = placeOf(points[i]);
    }
    if (numThere > 0) addTo(last, numThere);
}

std::vector<BlockCounts::Block> BlockCounts::getBlocks() const {
    std::vector<Block> vBlocks;
    vBlocks.reserve(numBlocks);
    for (const Block& block : vSlots)
        if (block.num != 0) vBlocks.push_back(block);
    std::sort(vBlocks.begin(), vBlocks.end(), [](const Block& a, const Block& b) { return a.place < b.place; });
    return vBlocks;
}

}  // namespace QUOR_ZEF
