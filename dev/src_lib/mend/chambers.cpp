#include "mend/chambers.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "geometry/freeFunctions.h"
#include "mend/edgeTurns.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

// Side 2 p of patch p is the one that its normals point to, 2 p + 1 the other.
class Chambers {
public:
    Chambers(const TriangleMesh& mesh_, const EdgeTable& edges_, Patches& patches_)
        : mesh(mesh_),
          edges(edges_),
          patches(patches_),
          sets(2 * patches_.vSize.size()),
          wholes(patches_.vSize.size()) {}

    void orient() {
        joinAtEdges();
        measureVolumes();
        linkChambers();
        countDepths();
        turn();
    }

private:
    const TriangleMesh& mesh;
    const EdgeTable& edges;
    Patches& patches;
    DisjointSets sets;                                            // of sides of patches
    DisjointSets wholes;                                          // of patches that hang together
    std::vector<std::uint32_t> vMeeting;                          // patches at edges of many
    std::vector<double> vVolume;                                  // by root
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vLinks;  // chambers with a patch between, both ways
    std::vector<std::uint32_t> vDepth;                            // by root

    void joinAtEdges() {
        std::vector<EdgeTurn> vTurns;
        for (const VertexPair& ends : patches.vMany) {
            const Edge edge = edges.at(ends);
            for (const EdgeSide& entry : edge.sides) {
                vMeeting.push_back(patches.patchAt(entry.side));
                wholes.join(vMeeting.back(), patches.patchAt(edge[0]));
            }
            if (edge.size() % 2 != 0) continue;
            sortByAngle(mesh, patches, edge, vTurns);
            for (std::size_t i = 0; i < vTurns.size(); ++i) {
                const EdgeTurn &here = vTurns[i], &next = vTurns[(i + 1) % vTurns.size()];
                sets.join(2 * patches.patchAt(here.side) + (here.bForward ? 0 : 1),
                          2 * patches.patchAt(next.side) + (next.bForward ? 1 : 0));
            }
        }
        std::sort(vMeeting.begin(), vMeeting.end());
        vMeeting.erase(std::unique(vMeeting.begin(), vMeeting.end()), vMeeting.end());
    }

    // Of each chamber, six times; seen from the middle of all that hangs together,
    // so that large coordinates lose no digits and a hole counts little.
    void measureVolumes() {
        std::vector<std::uint32_t> vWhole(patches.vSize.size(), Patches::none);  // of each patch that meets others
        for (const std::uint32_t patch : vMeeting) vWhole[patch] = wholes.find(patch);
        std::vector<Vector3> vSum(patches.vSize.size());
        std::vector<double> vNum(patches.vSize.size());
        const auto forEachTriangle = [&](auto&& f) {
            for (std::uint32_t t = 0; t < patches.vPatch.size(); ++t) {
                const std::uint32_t patch = patches.vPatch[t];
                if (patch != Patches::none && vWhole[patch] != Patches::none) f(t, vWhole[patch]);
            }
        };
        forEachTriangle([&](std::uint32_t t, std::uint32_t whole) {
            for (std::uint32_t corner = 3 * t; corner < 3 * t + 3; ++corner)
                vSum[whole] += mesh.vertices[mesh.indices[corner]] - Point3(0, 0, 0);
            vNum[whole] += 3.0;
        });
        vVolume.resize(2 * patches.vSize.size());
        forEachTriangle([&](std::uint32_t t, std::uint32_t whole) {
            const Point3 middle = Point3(0, 0, 0) + vSum[whole] * (1.0 / vNum[whole]);
            const Vector3 a = mesh.vertices[mesh.indices[3 * t]] - middle;
            const Vector3 b = mesh.vertices[mesh.indices[3 * t + 1]] - middle;
            const Vector3 c = mesh.vertices[mesh.indices[3 * t + 2]] - middle;
            const double volume = (patches.isFlipped(t) ? -1.0 : 1.0) * (a * cross(b, c));
            vVolume[sets.find(2 * patches.vPatch[t])] -= volume;
            vVolume[sets.find(2 * patches.vPatch[t] + 1)] += volume;
        });
    }

    void linkChambers() {
        for (const std::uint32_t patch : vMeeting) {
            const std::uint32_t front = sets.find(2 * patch), back = sets.find(2 * patch + 1);
            if (front == back) continue;
            vLinks.emplace_back(front, back);
            vLinks.emplace_back(back, front);
        }
        std::sort(vLinks.begin(), vLinks.end());
        vLinks.erase(std::unique(vLinks.begin(), vLinks.end()), vLinks.end());
    }

    // Breadth first, from the chambers around it all.
    void countDepths() {
        std::vector<std::uint32_t> vRoots;
        for (const auto& [chamber, other] : vLinks)
            if (vRoots.empty() || vRoots.back() != chamber) vRoots.push_back(chamber);
        const auto volumeOf = [&](std::uint32_t chamber) {
            return std::isnan(vVolume[chamber]) ? 0.0 : vVolume[chamber];
        };
        std::sort(vRoots.begin(), vRoots.end(), [&](std::uint32_t a, std::uint32_t b) {
            return std::pair(volumeOf(a), a) < std::pair(volumeOf(b), b);
        });
        vDepth.assign(vVolume.size(), Patches::none);
        std::vector<std::uint32_t> vQueue;
        for (const std::uint32_t root : vRoots) {
            if (vDepth[root] != Patches::none) continue;
            vQueue.assign(1, root);
            vDepth[root] = 0;
            for (std::size_t i = 0; i < vQueue.size(); ++i) {
                auto it = std::lower_bound(vLinks.begin(), vLinks.end(), std::pair(vQueue[i], 0u));
                for (; it != vLinks.end() && it->first == vQueue[i]; ++it) {
                    if (vDepth[it->second] != Patches::none) continue;
                    vDepth[it->second] = vDepth[vQueue[i]] + 1;
                    vQueue.push_back(it->second);
                }
            }
        }
    }

    void turn() {
        for (const std::uint32_t patch : vMeeting) {
            const std::uint32_t front = sets.find(2 * patch), back = sets.find(2 * patch + 1);
            if (front != back && vDepth[front] > vDepth[back]) patches.turn(patch);
        }
    }
};

}  // namespace

void orientByChambers(const TriangleMesh& mesh, const EdgeTable& edges, Patches& patches) {
    if (!patches.vMany.empty()) Chambers(mesh, edges, patches).orient();
}

}  // namespace QUOR_ZEF
