#include "geometry/GSS_HC3.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// One step of the descent along the curve, after Hamilton's compact form: a
// state is the corner by which the curve enters its box (3 bits) and the axis
// along which it leaves it (0 to 2). Octants are numbered 4x + 2y + z.
struct HilbertStep {
    std::uint8_t emit;  // place of the octant along the curve, 0 to 7
    std::uint8_t next;  // state inside that octant
};

constexpr unsigned numStates = 24;  // corner * 3 + axis; 12 of them are reached

constexpr unsigned rotateLeft(unsigned bits, unsigned by) {
    return ((bits << (by % 3)) | (bits >> (3 - by % 3))) & 7u;
}
constexpr unsigned gray(unsigned i) {
    return i ^ (i >> 1);
}
constexpr unsigned grayInverse(unsigned g) {
    return g ^ (g >> 1) ^ (g >> 2);
}
// The corner by which the curve enters its octant number i, and the axis along
// which it crosses that octant, both for the state (0, 0).
constexpr unsigned entryOf(unsigned i) {
    return i == 0 ? 0 : gray((i - 1) & ~1u);
}
constexpr unsigned axisOf(unsigned i) {
    if (i == 0) return 0;
    return static_cast<unsigned>(std::countr_one(i % 2 == 0 ? i - 1 : i)) % 3;
}

constexpr std::array<std::array<HilbertStep, 8>, numStates> makeHilbertSteps() {
    std::array<std::array<HilbertStep, 8>, numStates> steps{};
    for (unsigned state = 0; state < numStates; ++state) {
        const unsigned entry = state / 3;
        const unsigned axis = state % 3;
        for (unsigned octant = 0; octant < 8; ++octant) {
            const unsigned place = grayInverse(rotateLeft(octant ^ entry, 2 - axis));
            const unsigned nextEntry = entry ^ rotateLeft(entryOf(place), axis + 1);
            const unsigned nextAxis = (axis + axisOf(place) + 1) % 3;
            steps[state][octant] = {static_cast<std::uint8_t>(place),
                                    static_cast<std::uint8_t>(nextEntry * 3 + nextAxis)};
        }
    }
    return steps;
}

constexpr auto hilbertSteps = makeHilbertSteps();

// 0 for an axis along which the box has no room to divide.
double cellsPerUnit(double halfExtent, int numLevels) {
    const double perUnit = std::ldexp(1.0, numLevels) / halfExtent;
    return std::isfinite(perUnit) ? perUnit : 0.0;
}

}  // namespace

HilbertIndex::HilbertIndex(const Point3& lower, const Point3& upper, int bitLength)
    : numLevels(bitLength / 3), halfLower(lower.px * 0.5, lower.py * 0.5, lower.pz * 0.5) {
    const bool bValidBitLength = bitLength > 0 && bitLength % 3 == 0 && bitLength <= 32;
    if (!bValidBitLength) showDetail("GSS_HC3::GSS_HC3(..): invalid bitlength");
    ASSEX(bValidBitLength);
    numPerUnit = Vector3(cellsPerUnit(upper.px * 0.5 - halfLower.px, numLevels),
                         cellsPerUnit(upper.py * 0.5 - halfLower.py, numLevels),
                         cellsPerUnit(upper.pz * 0.5 - halfLower.pz, numLevels));
}

std::uint32_t HilbertIndex::operator()(double x, double y, double z) const {
    // The upper edge of the box belongs to the last cell.
    const auto cell = [this](double value, double origin, double perUnit) {
        const std::uint32_t last = (1u << numLevels) - 1u;
        return std::min(static_cast<std::uint32_t>((value * 0.5 - origin) * perUnit), last);
    };
    const std::uint32_t cx = cell(x, halfLower.px, numPerUnit.vx);
    const std::uint32_t cy = cell(y, halfLower.py, numPerUnit.vy);
    const std::uint32_t cz = cell(z, halfLower.pz, numPerUnit.vz);
    std::uint32_t index = 0;
    unsigned state = 0;
    for (int level = numLevels - 1; level >= 0; --level) {
        const unsigned octant = ((cx >> level) & 1u) << 2 | ((cy >> level) & 1u) << 1 | ((cz >> level) & 1u);
        const HilbertStep& step = hilbertSteps[state][octant];
        index = index << 3 | step.emit;
        state = step.next;
    }
    return index;
}

namespace {

constexpr std::size_t fanout = 8;
constexpr std::size_t minChunk = 2000;  // items that are worth a pool job
constexpr int indexBits = 27;           // nine halvings: cells of 1/512 of the box

bool isFinite(const GSS_HC3::Item& item) {
    return std::isfinite(item.x) && std::isfinite(item.y) && std::isfinite(item.z);
}

}  // namespace

// What a query asks for. Distances to boxes are formed like those to items, so
// that rounding can never put a box farther off than an item in it, nor nearer
// than the farthest item with farthest().
struct GSS_HC3::Ball {
    double x, y, z;
    double sqRadius;

    bool holds(double dx, double dy, double dz) const { return dx * dx + dy * dy + dz * dz <= sqRadius; }
    bool holds(const Item& item) const { return holds(item.x - x, item.y - y, item.z - z); }
    bool touches(const Box& box) const { return holds(nearest(box, 0, x), nearest(box, 1, y), nearest(box, 2, z)); }
    bool swallows(const Box& box) const { return holds(farthest(box, 0, x), farthest(box, 1, y), farthest(box, 2, z)); }

private:
    static double nearest(const Box& box, int axis, double centre) {
        return std::max(std::max(box.lower[axis] - centre, centre - box.upper[axis]), 0.0);
    }
    static double farthest(const Box& box, int axis, double centre) {
        return std::max(box.upper[axis] - centre, centre - box.lower[axis]);
    }
};

void GSS_HC3::Box::include(const Box& box) {
    for (int i = 0; i < 3; ++i) {
        lower[i] = std::min(lower[i], box.lower[i]);
        upper[i] = std::max(upper[i], box.upper[i]);
    }
}

GSS_HC3::Box GSS_HC3::boxOf(const Item& item) {
    return {{item.x, item.y, item.z}, {item.x, item.y, item.z}};
}

void GSS_HC3::add(void* pObject, double x, double y, double z) {
    ASSEX(!bBuilt);
    vItems.push_back({pObject, x, y, z});
}

void GSS_HC3::build() {
    ASSEX(!bBuilt);
    ASSEX(vItems.size() <= std::numeric_limits<std::uint32_t>::max());
    bBuilt = true;
    const std::vector<uint64> vKeys = sortedKeys();
    std::vector<Item> vSorted(vKeys.size());
    vNumbers.resize(vKeys.size());
    parallelChunks(vKeys.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vNumbers[i] = static_cast<std::uint32_t>(vKeys[i]);
            vSorted[i] = vItems[vNumbers[i]];
        }
    });
    vItems.swap(vSorted);
    pItems = vItems.data();
    buildLevels();
}

// Hilbert index above, item number below, so that plain numbers are sorted.
std::vector<uint64> GSS_HC3::sortedKeys() const {
    constexpr uint64 notFinite = ~uint64{0};  // behind all keys
    const Box box = boxOfFiniteItems();
    const HilbertIndex hilbertIndex({box.lower[0], box.lower[1], box.lower[2]},
                                    {box.upper[0], box.upper[1], box.upper[2]}, indexBits);
    std::vector<uint64> vKeys(vItems.size());
    parallelChunks(vKeys.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Item& item = vItems[i];
            vKeys[i] = isFinite(item) ? uint64{hilbertIndex(item.x, item.y, item.z)} << 32 | i : notFinite;
        }
    });
    sortMT(vKeys.begin(), vKeys.end());
    while (!vKeys.empty() && vKeys.back() == notFinite) vKeys.pop_back();
    return vKeys;
}

// The origin if there is no such item.
GSS_HC3::Box GSS_HC3::boxOfFiniteItems() const {
    Box box{};
    bool bAny = false;
    for (const Item& item : vItems) {
        if (!isFinite(item)) continue;
        if (bAny)
            box.include(boxOf(item));
        else
            box = boxOf(item);
        bAny = true;
    }
    return box;
}

void GSS_HC3::buildLevels() {
    const auto boxEights = [](const auto& vBelow, const auto& boxOfOne) {
        std::vector<Box> vBoxes;
        vBoxes.reserve((vBelow.size() + fanout - 1) / fanout);
        for (std::size_t i = 0; i < vBelow.size(); ++i) {
            if (i % fanout == 0)
                vBoxes.push_back(boxOfOne(vBelow[i]));
            else
                vBoxes.back().include(boxOfOne(vBelow[i]));
        }
        return vBoxes;
    };
    vLevels.push_back(boxEights(vItems, boxOf));
    while (vLevels.back().size() > fanout) {
        vLevels.push_back(boxEights(vLevels.back(), [](const Box& box) { return box; }));
    }
}

void GSS_HC3::query(double x, double y, double z, double radius, std::vector<Item*>& vOut) const {
    visitAll(x, y, z, radius, [&](std::size_t place) { vOut.push_back(pItems + place); });
}

void GSS_HC3::query(double x, double y, double z, double radius, std::vector<std::uint32_t>& vOut) const {
    visitAll(x, y, z, radius, [&](std::size_t place) { vOut.push_back(vNumbers[place]); });
}

template <class Take>
void GSS_HC3::visitAll(double x, double y, double z, double radius, const Take& take) const {
    ASSEX(bBuilt);
    if (!(radius >= 0.0)) return;
    visit(vLevels.size() - 1, 0, {x, y, z, radius * radius}, take);
}

// The up to eight boxes of this level that begin at first. All are tested before
// any is entered, without branches that could be guessed wrong.
template <class Take>
void GSS_HC3::visit(std::size_t level, std::size_t first, const Ball& ball, const Take& take) const {
    const std::vector<Box>& vBoxes = vLevels[level];
    const std::size_t last = std::min(first + fanout, vBoxes.size());
    unsigned touched = 0;
    for (std::size_t i = first; i < last; ++i) touched |= unsigned{ball.touches(vBoxes[i])} << (i - first);
    for (; touched; touched &= touched - 1) {
        const std::size_t i = first + static_cast<std::size_t>(std::countr_zero(touched));
        if (level == 0) {
            testItems(i, ball, take);
        } else if (ball.swallows(vBoxes[i])) {
            const std::size_t shift = 3 * (level + 1);
            const std::size_t end = std::min((i + 1) << shift, vItems.size());
            for (std::size_t place = i << shift; place < end; ++place) take(place);
        } else {
            visit(level - 1, i * fanout, ball, take);
        }
    }
}

template <class Take>
void GSS_HC3::testItems(std::size_t leaf, const Ball& ball, const Take& take) const {
    const std::size_t first = leaf * fanout;
    const std::size_t last = std::min(first + fanout, vItems.size());
    unsigned hit = 0;
    for (std::size_t i = first; i < last; ++i) hit |= unsigned{ball.holds(vItems[i])} << (i - first);
    for (; hit; hit &= hit - 1) take(first + static_cast<std::size_t>(std::countr_zero(hit)));
}

}  // namespace QUOR_ZEF
