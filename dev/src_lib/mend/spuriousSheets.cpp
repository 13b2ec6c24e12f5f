#include "mend/spuriousSheets.h"

#include <algorithm>
#include <array>
#include <queue>
#include <tuple>
#include <utility>

#include "mend/PatchJoiner.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t maxSheet = 100;      // triangles
constexpr std::uint32_t maxMembrane = 1000;  // of a sheet without border, between odd edges only
constexpr std::uint32_t maxFin = 20;         // of a sheet that mostly hangs free
constexpr std::uint32_t sheetFactor = 10;    // how much larger a neighbour must be

class SheetFinder {
public:
    SheetFinder(const std::vector<std::uint32_t>& vTriples_, const EdgeTable& edges_, const Patches& patches_,
                bool bSparing_)
        : vTriples(vTriples_),
          bSparing(bSparing_),
          edges(edges_),
          patches(patches_),
          vPartner(patches_.vPartner),
          joiner(patches_.vSize),
          vSeen(patches_.vPatch.size()) {
        vDead.resize(patches.vPatch.size());
        for (std::uint32_t many = 0; many < patches.vMany.size(); ++many) {
            const Edge edge = edges.at(patches.vMany[many]);
            vDegree.push_back(static_cast<std::uint32_t>(edge.size()));
            for (const EdgeSide& entry : edge.sides) vManyOf.emplace_back(entry.side, many);
        }
        std::sort(vManyOf.begin(), vManyOf.end());
    }

    SpuriousSheets find() {
        for (std::uint32_t many = 0; many < vDegree.size(); ++many) queueAt(many);
        while (!queue.empty()) {
            const auto [size, patch, seed] = queue.top();
            queue.pop();
            if (vDead[seed] || joiner.rootOf(patch) != patch || joiner.sizeAt(patch) != size) continue;
            collect(seed);
            if (isSpurious(patch) && leavesTwoSides()) remove();
        }
        return std::move(sheets);
    }

private:
    const std::vector<std::uint32_t>& vTriples;
    const bool bSparing;
    const EdgeTable& edges;
    const Patches& patches;
    std::vector<std::uint32_t> vPartner;  // as those of the patches, and across what has become a pair
    PatchJoiner joiner;                   // of patches that have grown together
    std::vector<bool> vSeen;              // triangles of vSheet, while it is collected
    std::vector<std::uint32_t> vDegree;   // live triangles of each edge of many
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vManyOf;  // side, edge of many
    std::vector<bool> vDead;                                       // triangles of sheets that go
    SpuriousSheets sheets;

    using Entry = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;  // size, patch, triangle of it
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    std::vector<std::uint32_t> vSheet;                             // triangles
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vAtMany;  // edge of many, number of sides there
    std::uint32_t numBorder = 0;

    std::uint32_t rootAt(std::uint32_t side) const { return joiner.rootOf(patches.patchAt(side)); }

    void queueAt(std::uint32_t many) {
        const Edge edge = edges.at(patches.vMany[many]);
        if (edge.size() > maxCrowd) return;
        for (const EdgeSide& entry : edge.sides) {
            const std::uint32_t t = entry.side / 3, root = rootAt(entry.side);
            if (!vDead[t] && joiner.sizeAt(root) <= maxMembrane) queue.emplace(joiner.sizeAt(root), root, t);
        }
    }

    void collect(std::uint32_t seed) {
        vSheet.assign(1, seed);
        vAtMany.clear();
        numBorder = 0;
        vSeen[seed] = true;
        for (std::size_t i = 0; i < vSheet.size();) lookAround(vSheet[i++]);
        for (const std::uint32_t t : vSheet) vSeen[t] = false;
        countAtMany();
    }
    // The sheet grows meanwhile.
    void lookAround(std::uint32_t t) {
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
            if (vPartner[side] != Patches::none) {
                visit(vPartner[side] / 3);
            } else {
                noteRim(side);
            }
        }
    }
    void visit(std::uint32_t t) {
        if (!vSeen[t]) vSheet.push_back(t);
        vSeen[t] = true;
    }
    void noteRim(std::uint32_t side) {
        const auto it = std::lower_bound(vManyOf.begin(), vManyOf.end(), std::pair(side, 0u));
        if (it == vManyOf.end() || it->first != side || vDegree[it->second] == 1) {
            ++numBorder;
            return;
        }
        vAtMany.emplace_back(it->second, 1);
    }
    void countAtMany() {
        std::sort(vAtMany.begin(), vAtMany.end());
        std::size_t num = 0;
        for (const auto& [many, one] : vAtMany) {
            if (num > 0 && vAtMany[num - 1].first == many)
                ++vAtMany[num - 1].second;
            else
                vAtMany[num++] = {many, 1};
        }
        vAtMany.resize(num);
    }

    // Whether a vertex would be none any more, were the sheet gone.
    bool hasOwnVertex() const {
        std::vector<std::uint32_t> vHeld;
        for (const auto& [many, num] : vAtMany)
            vHeld.insert(vHeld.end(), {patches.vMany[many].first, patches.vMany[many].second});
        std::sort(vHeld.begin(), vHeld.end());
        return std::any_of(vSheet.begin(), vSheet.end(), [&](std::uint32_t t) {
            return std::any_of(&vTriples[3 * t], &vTriples[3 * t] + 3, [&](std::uint32_t vertex) {
                return !std::binary_search(vHeld.begin(), vHeld.end(), vertex);
            });
        });
    }

    bool isSpurious(std::uint32_t patch) {
        std::uint32_t numOdd = numBorder, numEven = 0, largest = 0;
        for (const auto& [many, numOwn] : vAtMany) {
            if (numOwn % 2 == 1) ++(vDegree[many] % 2 == 1 ? numOdd : numEven);
            const Edge edge = edges.at(patches.vMany[many]);
            if (edge.size() > maxCrowd) return false;
            for (const EdgeSide& entry : edge.sides) {
                const std::uint32_t root = rootAt(entry.side);
                if (!vDead[entry.side / 3] && root != patch) largest = std::max(largest, joiner.sizeAt(root));
            }
        }
        const std::size_t numHeld = vAtMany.size();
        if (bSparing && numBorder > 0 && hasOwnVertex()) return false;
        const std::uint32_t limit = numBorder > numHeld ? maxFin : numBorder + numEven > 0 ? maxSheet : maxMembrane;
        if (numOdd <= numEven || vSheet.size() > limit) return false;
        // What is held by nothing any more was held by other sheets.
        return numHeld == 0 || largest >= sheetFactor * vSheet.size();
    }

    void remove() {
        for (const std::uint32_t t : vSheet) vDead[t] = true;
        ++sheets.numSheets;
        sheets.vTriangles.insert(sheets.vTriangles.end(), vSheet.begin(), vSheet.end());
        for (const auto& [many, numOwn] : vAtMany) {
            vDegree[many] -= numOwn;
            if (vDegree[many] == 2) growTogether(many);
            queueAt(many);
        }
    }
    void growTogether(std::uint32_t many) {
        const auto [side, other] = pairAt(many);
        vPartner[side] = other;
        vPartner[other] = side;
        joiner.join(patches.patchAt(side), patches.patchAt(other), patches.clash(side, other));
    }
    // The two live sides, without those of vSheet if it is marked.
    std::pair<std::uint32_t, std::uint32_t> pairAt(std::uint32_t many) const {
        std::array<std::uint32_t, 2> live{};
        std::size_t num = 0;
        for (const EdgeSide& entry : edges.at(patches.vMany[many]).sides)
            if (!vDead[entry.side / 3] && !vSeen[entry.side / 3]) live[num++] = entry.side;
        return {live[0], live[1]};
    }

    // Whether what would grow together can be oriented.
    bool leavesTwoSides() {
        for (const std::uint32_t t : vSheet) vSeen[t] = true;
        std::vector<std::array<std::uint32_t, 3>> vBonds;  // two roots, whether they are bound as they stand
        for (const auto& [many, numOwn] : vAtMany) {
            if (vDegree[many] - numOwn != 2) continue;
            const auto [side, other] = pairAt(many);
            const std::uint32_t a = patches.patchAt(side), b = patches.patchAt(other);
            const bool bOpposite = patches.clash(side, other) ^ joiner.isTurned(a) ^ joiner.isTurned(b);
            vBonds.push_back({joiner.rootOf(a), joiner.rootOf(b), bOpposite});
        }
        for (const std::uint32_t t : vSheet) vSeen[t] = false;
        return agree(vBonds);
    }
    static bool agree(const std::vector<std::array<std::uint32_t, 3>>& vBonds) {
        std::vector<std::uint32_t> vRoots;
        for (const auto& bond : vBonds) vRoots.insert(vRoots.end(), {bond[0], bond[1]});
        std::sort(vRoots.begin(), vRoots.end());
        vRoots.erase(std::unique(vRoots.begin(), vRoots.end()), vRoots.end());
        const auto numberOf = [&](std::uint32_t root) {
            return static_cast<std::uint32_t>(std::lower_bound(vRoots.begin(), vRoots.end(), root) - vRoots.begin());
        };
        PatchJoiner bonds(std::vector<std::uint32_t>(vRoots.size(), 1));
        return std::all_of(vBonds.begin(), vBonds.end(), [&](const auto& bond) {
            return bonds.join(numberOf(bond[0]), numberOf(bond[1]), bond[2] != 0);
        });
    }
};

}  // namespace

SpuriousSheets findSpuriousSheets(const std::vector<std::uint32_t>& vTriples, const EdgeTable& edges,
                                  const Patches& patches, bool bSparing) {
    return SheetFinder(vTriples, edges, patches, bSparing).find();
}

}  // namespace QUOR_ZEF
