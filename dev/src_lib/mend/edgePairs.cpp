#include "mend/edgePairs.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "mend/PatchJoiner.h"
#include "mend/edgeTurns.h"

namespace QUOR_ZEF {

namespace {

// Two sides that could stay together. Lower ones come first.
struct Candidate {
    double bend;  // radians from flat
    std::uint32_t side, other;
    bool operator<(const Candidate& c) const { return std::tie(bend, side, other) < std::tie(c.bend, c.side, c.other); }
};

class PairMaker {
public:
    PairMaker(const TriangleMesh& mesh_, Patches& patches_) : mesh(mesh_), patches(patches_), joiner(patches_.vSize) {}

    void addEdge(const Edge& edge) {
        sortByAngle(mesh, patches, edge, vTurns);
        const auto numForward =
            std::count_if(vTurns.begin(), vTurns.end(), [](const EdgeTurn& t) { return t.bForward; });
        if (2 * static_cast<std::size_t>(numForward) == vTurns.size()) {
            joinMatter();
        } else {
            addCandidates();
        }
    }
    void joinFlattest() {
        std::sort(vCandidates.begin(), vCandidates.end());
        for (const Candidate& c : vCandidates) {
            if (patches.vPartner[c.side] == Patches::none && patches.vPartner[c.other] == Patches::none)
                join(c.side, c.other);
        }
        for (std::uint32_t patch = 0; patch < patches.vSize.size(); ++patch)
            if (joiner.isTurned(patch)) patches.turn(patch);
    }

private:
    const TriangleMesh& mesh;
    Patches& patches;
    PatchJoiner joiner;
    std::vector<EdgeTurn> vTurns;
    std::vector<std::uint32_t> vEntered;  // sides, the last one on top
    std::vector<Candidate> vCandidates;

    void join(std::uint32_t side, std::uint32_t other) {
        if (joiner.join(patches.patchAt(side), patches.patchAt(other), patches.clash(side, other)))
            patches.join(side, other);
    }

    // Like brackets; the second turn closes what the first has left open.
    void joinMatter() {
        vEntered.clear();
        for (int turn = 0; turn < 2; ++turn) {
            for (const EdgeTurn& t : vTurns) {
                if (!t.bForward) {
                    if (turn == 0) vEntered.push_back(t.side);
                } else if (patches.vPartner[t.side] == Patches::none && !vEntered.empty()) {
                    join(vEntered.back(), t.side);
                    vEntered.pop_back();
                }
            }
        }
    }

    void addCandidates() {
        for (std::size_t i = 0; i < vTurns.size(); ++i) {
            const bool bLast = i + 1 == vTurns.size();
            const EdgeTurn &here = vTurns[i], &next = vTurns[bLast ? 0 : i + 1];
            const double wedge = next.angle - here.angle + (bLast ? 2.0 * M_PI : 0.0);
            vCandidates.push_back({std::abs(wedge - M_PI), here.side, next.side});
        }
    }
};

}  // namespace

void joinPairs(const TriangleMesh& mesh, const EdgeTable& edges, Patches& patches) {
    if (patches.vMany.empty()) return;
    PairMaker maker(mesh, patches);
    for (const VertexPair& ends : patches.vMany) maker.addEdge(edges.at(ends));
    maker.joinFlattest();
}

}  // namespace QUOR_ZEF
