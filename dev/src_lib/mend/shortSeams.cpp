#include "mend/shortSeams.h"

#include <algorithm>
#include <span>
#include <utility>

#include "mend/SeamWindow.h"

namespace QUOR_ZEF {

namespace {

// In the narrow windows most of a long seam goes at little cost. Crowds of seams, in clutter, take the wide ones the
// longest, and gain next to nothing.
constexpr WindowSize narrow{40, 30, false}, wide{100, 30, true};
constexpr int maxRounds = 16;  // of windows where others have turned something

class SeamShortener {
public:
    SeamShortener(const TriangleMesh& mesh, const JoinedSides& sides_)
        : sides(sides_), window(mesh, sides_), vDone(mesh.indices.size()) {}

    void lookAround(const std::vector<std::uint32_t>& vOpen, const WindowSize& size, std::uint32_t innerShare) {
        vDone.assign(vDone.size(), false);
        vQueue.clear();
        for (const std::uint32_t side : vOpen) vQueue.emplace_back(side, 0);
        for (std::size_t i = 0; i < vQueue.size(); ++i) {
            const auto [side, round] = vQueue[i];
            if (vDone[side] || !sides.clash(side)) continue;
            if (!window.improveAround(side, size)) {
                // Sides so far inside need no windows of their own.
                forEachSide(window.innerTriangles(innerShare), [&](std::uint32_t s) { vDone[s] = true; });
            } else if (round < maxRounds) {
                forEachSide(window.triangles(), [&, next = round + 1](std::uint32_t s) {
                    if (s < sides.vPartner[s] && sides.clash(s)) vQueue.emplace_back(s, next);
                });
            }
        }
    }
    // Of these and of all that were looked at last.
    std::vector<std::uint32_t> clashesAmong(const std::vector<std::uint32_t>& vMore) const {
        std::vector<std::uint32_t> vLeft;
        const auto look = [&](std::uint32_t side) {
            if (sides.clash(side)) vLeft.push_back(std::min(side, sides.vPartner[side]));
        };
        for (const std::uint32_t side : vMore) look(side);
        for (const auto& [side, round] : vQueue) look(side);
        std::sort(vLeft.begin(), vLeft.end());
        vLeft.erase(std::unique(vLeft.begin(), vLeft.end()), vLeft.end());
        return vLeft;
    }

private:
    const JoinedSides& sides;
    SeamWindow window;
    std::vector<bool> vDone;                            // sides
    std::vector<std::pair<std::uint32_t, int>> vQueue;  // side, round

    template <class F>
    static void forEachSide(std::span<const std::uint32_t> triangles, F&& f) {
        for (const std::uint32_t t : triangles)
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) f(side);
    }
};

}  // namespace

std::vector<std::uint32_t> shortenSeams(const TriangleMesh& mesh, const JoinedSides& sides,
                                        const std::vector<std::uint32_t>& vAll,
                                        const std::vector<std::uint32_t>& vOpen) {
    SeamShortener shortener(mesh, sides);
    shortener.lookAround(vOpen, narrow, 2);
    const std::vector<std::uint32_t> vFew = shortener.clashesAmong(vAll);
    shortener.lookAround(shortener.clashesAmong({}), wide, 8);
    return shortener.clashesAmong(vFew);
}

}  // namespace QUOR_ZEF
