#include "solid/LatticeSet.h"

#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr auto isInBoth = [](bool bA, bool bB) { return bA && bB; };

}  // namespace

bool LatticeSet::has(const LatticePoint& p) const {
    const std::span<const Stretch> runs = row(p.y, p.z);
    const auto it = std::ranges::upper_bound(runs, p.x, {}, &Stretch::begin);
    return it != runs.begin() && p.x < std::prev(it)->end;
}

template <class Keep>
void LatticeSet::combineWith(std::span<const uint64> vPoints, const Keep& keep) {
    std::vector<Stretch> vAdded;
    std::size_t next = 0;
    *this = LatticeSet(box, [&](std::int32_t y, std::int32_t z, std::vector<Stretch>& vOut) {
        vAdded.clear();
        for (const uint64 end = codeOf({0, y, z}) + (uint64{1} << 21); next < vPoints.size() && vPoints[next] < end;
             ++next) {
            const std::int32_t x = pointOf(vPoints[next]).x;
            if (vAdded.empty() || vAdded.back().end < x) vAdded.push_back({x, x});
            vAdded.back().end = x + 1;
        }
        combineRuns(row(y, z), vAdded, keep, vOut);
    });
}

void LatticeSet::add(std::span<const uint64> vPoints) {
    combineWith(vPoints, [](bool bOld, bool bNew) { return bOld || bNew; });
}

void LatticeSet::remove(std::span<const uint64> vPoints) {
    combineWith(vPoints, [](bool bOld, bool bGone) { return bOld && !bGone; });
}

// Each row has a gap before each of its runs, and one behind the last.
std::uint32_t LatticeSet::firstGap(std::int32_t y, std::int32_t z) const {
    const std::size_t i = rowNumber(y, z);
    return static_cast<std::uint32_t>(vFirst[i] + i);
}

Stretch LatticeSet::gap(std::span<const Stretch> runs, std::size_t i) const {
    return {i == 0 ? 0 : runs[i - 1].end, i == runs.size() ? box.numX : runs[i].begin};
}

void LatticeSet::fillEnclosed() {
    DisjointSets gaps(vRuns.size() + vFirst.size());
    const auto joinRows = [&](std::int32_t y, std::int32_t z, std::int32_t otherY, std::int32_t otherZ) {
        if (otherY < 0 || otherZ < 0) return;
        const std::span<const Stretch> a = row(y, z), b = row(otherY, otherZ);
        for (std::size_t i = 0, j = 0; i <= a.size() && j <= b.size();) {
            const Stretch gapA = gap(a, i), gapB = gap(b, j);
            if (gapA.begin < gapB.end && gapB.begin < gapA.end)
                gaps.join(firstGap(y, z) + static_cast<std::uint32_t>(i),
                          firstGap(otherY, otherZ) + static_cast<std::uint32_t>(j));
            ++(gapA.end < gapB.end ? i : j);
        }
    };
    for (std::int32_t z = 0; z < box.numZ; ++z) {
        for (std::int32_t y = 0; y < box.numY; ++y) {
            joinRows(y, z, y - 1, z);
            joinRows(y, z, y, z - 1);
        }
    }
    *this = LatticeSet(box, [&](std::int32_t y, std::int32_t z, std::vector<Stretch>& vOut) {
        const std::span<const Stretch> runs = row(y, z);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            if (gaps.find(firstGap(y, z) + static_cast<std::uint32_t>(i)) == 0)
                vOut.push_back(runs[i]);
            else
                vOut.back().end = runs[i].end;
        }
    });
}

void LatticeSet::keepWithin(const LatticeSet& other) {
    std::vector<Stretch> vKept, vShrunk, vNext;
    *this = LatticeSet(box, [&](std::int32_t y, std::int32_t z, std::vector<Stretch>& vOut) {
        const std::span<const Stretch> own = row(y, z);
        vKept.assign(own.begin(), own.end());
        for (std::int32_t i = 0; i < 9 && !vKept.empty(); ++i) {
            vShrunk.clear();
            for (const Stretch& run : other.row(y + i % 3 - 1, z + i / 3 - 1))
                if (run.end - run.begin > 2) vShrunk.push_back({run.begin + 1, run.end - 1});
            vNext.clear();
            combineRuns(vKept, vShrunk, isInBoth, vNext);
            vKept.swap(vNext);
        }
        vOut.insert(vOut.end(), vKept.begin(), vKept.end());
    });
}

}  // namespace QUOR_ZEF
