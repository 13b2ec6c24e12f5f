#include "sides/turnPieces.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "sides/ViewSearch.h"

namespace QUOR_ZEF {

namespace {

// Shares of a vote that must be left when both sides are counted. What is nearly closed
// shows a known viewpoint its outside all around, or else its inside.
constexpr double clearView = 0.5;
constexpr double clearNormals = 0.1;

class PieceTurner {
public:
    PieceTurner(TriangleMesh& mesh_, const MeshPieces& pieces_, const SideClues& clues_)
        : mesh(mesh_),
          pieces(pieces_),
          clues(clues_),
          vRule(pieces_.vKind.size(), SideRule::NONE),
          vTurn(pieces_.vKind.size()) {}

    TurnedPieces run() {
        const auto isClosed = [](PieceKind kind) { return kind == PieceKind::CLOSED; };
        stayBy(SideRule::VOLUME, isClosed);
        if (clues.viewpoint) settle(SideRule::VIEWPOINT, votesToward(*clues.viewpoint), clearView, 0.0);
        if (clues.normals.pNormals && isOpen())
            settle(SideRule::NORMALS, votesOfNormals(mesh, pieces.vNumber, vRule.size(), clues.normals, clues.spacing),
                   clearNormals, clearNormals);
        stayBy(SideRule::VOLUME, [](PieceKind kind) { return kind != PieceKind::SHEET; });
        if (isOpen()) agree();
        turn();
        return {static_cast<std::size_t>(std::count(vTurn.begin(), vTurn.end(), true)), mainRule()};
    }

private:
    TriangleMesh& mesh;
    const MeshPieces& pieces;
    const SideClues& clues;
    std::vector<SideRule> vRule;  // by piece; NONE: not settled yet
    std::vector<bool> vTurn;      // by piece

    bool isOpen() const { return std::find(vRule.begin(), vRule.end(), SideRule::NONE) != vRule.end(); }

    template <class Fn>
    void stayBy(SideRule rule, const Fn& fn) {
        for (std::size_t i = 0; i < vRule.size(); ++i)
            if (vRule[i] == SideRule::NONE && fn(pieces.vKind[i])) vRule[i] = rule;
    }

    // minBody, minSheet: the shares of the votes that must be left.
    void settle(SideRule rule, const std::vector<Vote>& vVotes, double minBody, double minSheet) {
        for (std::size_t i = 0; i < vRule.size(); ++i) {
            const double minShare = pieces.vKind[i] == PieceKind::BODY ? minBody : minSheet;
            if (vRule[i] != SideRule::NONE || !(std::abs(vVotes[i].sum) > minShare * vVotes[i].weight)) continue;
            vRule[i] = rule;
            vTurn[i] = vVotes[i].sum < 0.0;
        }
    }

    std::vector<Vote> votesToward(const Point3& viewpoint) const {
        std::vector<Vote> vVotes(vRule.size());
        for (std::size_t t = 0; t < pieces.vNumber.size(); ++t)
            if (vRule[pieces.vNumber[t]] == SideRule::NONE)
                vVotes[pieces.vNumber[t]].add(doubleArea(mesh, t) * normalize(viewpoint - middleOf(mesh, t)));
        return vVotes;
    }
    std::vector<Vote> votesUpward() const {
        std::vector<Vote> vVotes(vRule.size());
        for (std::size_t t = 0; t < pieces.vNumber.size(); ++t) vVotes[pieces.vNumber[t]].add(doubleArea(mesh, t).vz);
        return vVotes;
    }

    // What is left, among itself and with the sheets that stand.
    void agree() {
        using Sheet = ViewSearch::Sheet;
        std::vector<Sheet> vSheet(vRule.size(), Sheet::OTHER);
        bool bAllFree = true;
        for (std::size_t i = 0; i < vRule.size(); ++i) {
            if (pieces.vKind[i] != PieceKind::SHEET) continue;
            vSheet[i] = vRule[i] == SideRule::NONE ? Sheet::FREE : vTurn[i] ? Sheet::TURNED : Sheet::KEPT;
            bAllFree = bAllFree && vSheet[i] == Sheet::FREE;
        }
        const ViewSearch search(mesh, pieces.vNumber, vSheet);
        if (bAllFree && search.isTerrain())
            settle(SideRule::TERRAIN, votesUpward(), 0.0, 0.0);
        else
            settle(SideRule::AGREEMENT, votesToward(search.findViewpoint()), 0.0, 0.0);
        stayBy(SideRule::AGREEMENT, [](PieceKind) { return true; });
    }

    void turn() {
        for (std::size_t t = 0; t < pieces.vNumber.size(); ++t)
            if (vTurn[pieces.vNumber[t]]) std::swap(mesh.indices[3 * t], mesh.indices[3 * t + 1]);
    }

    SideRule mainRule() const {
        std::array<double, 1 + static_cast<std::size_t>(SideRule::AGREEMENT)> area{};
        for (std::size_t t = 0; t < pieces.vNumber.size(); ++t)
            area[static_cast<std::size_t>(vRule[pieces.vNumber[t]])] += doubleArea(mesh, t).length();
        return static_cast<SideRule>(std::max_element(area.begin(), area.end()) - area.begin());
    }
};

}  // namespace

TurnedPieces turnPieces(TriangleMesh& mesh, const MeshPieces& pieces, const SideClues& clues) {
    OptionalStage stage("SD_turn", 1);
    const TurnedPieces turned = PieceTurner(mesh, pieces, clues).run();
    stage.finish();
    return turned;
}

}  // namespace QUOR_ZEF
