#include "mend/Patches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <utility>
#include <vector>

#include "frame/Rand15.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

// Of squares around, in columns of so many; with half a turn its ends meet upside down. Some squares have the other
// diagonal, and some triangles stand the other way round.
TriangleMesh makeBand(std::uint32_t numAround, std::uint32_t numAcross, bool bTwisted, Rand15& rand) {
    TriangleMesh mesh;
    const std::uint32_t column = numAcross + 1;
    for (std::uint32_t x = 0; x < numAround; ++x) {
        for (std::uint32_t y = 0; y < column; ++y) {
            const double bend = 0.2 * rand.next() / 32768.0;
            mesh.vertices.emplace_back(x, y, bend);
        }
    }
    const auto at = [&](std::uint32_t x, std::uint32_t y) {
        if (x < numAround) return x * column + y;
        return bTwisted ? numAcross - y : y;
    };
    for (std::uint32_t x = 0; x < numAround; ++x) {
        for (std::uint32_t y = 0; y < numAcross; ++y) {
            const std::uint32_t a = at(x, y), b = at(x + 1, y), c = at(x + 1, y + 1), d = at(x, y + 1);
            if (rand.next() % 2 == 0)
                mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
            else
                mesh.indices.insert(mesh.indices.end(), {a, b, d, b, c, d});
        }
    }
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3)
        if (rand.next() % 2 == 0) std::swap(mesh.indices[i], mesh.indices[i + 1]);
    return mesh;
}

void removeIf(TriangleMesh& mesh, const std::function<bool(std::size_t)>& isGone) {
    std::vector<std::uint32_t> vLeft;
    for (std::size_t t = 0; t < mesh.numTriangles(); ++t)
        if (!isGone(t))
            vLeft.insert(vLeft.end(), mesh.indices.begin() + static_cast<std::ptrdiff_t>(3 * t),
                         mesh.indices.begin() + static_cast<std::ptrdiff_t>(3 * t + 3));
    mesh.indices = vLeft;
}

struct Found {
    explicit Found(const TriangleMesh& mesh_)
        : mesh(mesh_),
          vDead(mesh.numTriangles()),
          edges(mesh.indices, mesh.vertices.size()),
          patches(mesh, vDead, edges) {}

    TriangleMesh mesh;
    std::vector<bool> vDead;
    EdgeTable edges;
    Patches patches;

    // All joined sides agree, and each edge of two triangles is joined or a seam.
    void expectOriented() const {
        std::size_t numCut = 0;
        edges.forEachEdge([&](const Edge& edge) {
            if (edge.size() != 2) return;
            if (patches.vPartner[edge[0]] == Patches::none) {
                ++numCut;
                return;
            }
            EXPECT_EQ(patches.vPartner[edge[0]], edge[1]);
            EXPECT_FALSE(patches.clash(edge[0], edge[1]));
            EXPECT_EQ(patches.patchAt(edge[0]), patches.patchAt(edge[1]));
        });
        EXPECT_EQ(numCut, patches.vSeams.size());
    }
    void kill(const std::vector<std::uint32_t>& vKilled) {
        for (const std::uint32_t t : vKilled) vDead[t] = true;
        patches.follow(vKilled, edges.follow(vDead, vKilled, static_cast<std::uint32_t>(vDead.size())));
    }
};

std::vector<VertexPair> seamsOf(const TriangleMesh& mesh) {
    const Found found(mesh);
    found.expectOriented();
    return found.patches.vSeams;
}

// The fewest edges of two triangles that clash, over all ways to turn the triangles; a
// step of the Gray code turns one.
std::size_t fewestClashes(const TriangleMesh& mesh) {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    std::vector<std::array<std::uint32_t, 3>> vPairs;  // two triangles, whether they clash as they stand
    std::vector<std::vector<std::size_t>> vOf(mesh.numTriangles());
    edges.forEachEdge([&](const Edge& edge) {
        if (edge.size() != 2) return;
        vOf[edge[0] / 3].push_back(vPairs.size());
        vOf[edge[1] / 3].push_back(vPairs.size());
        vPairs.push_back({edge[0] / 3, edge[1] / 3, mesh.indices[edge[0]] == mesh.indices[edge[1]] ? 1u : 0u});
    });
    std::vector<bool> vClash(vPairs.size());
    for (std::size_t i = 0; i < vPairs.size(); ++i) vClash[i] = vPairs[i][2] == 1;
    auto num = static_cast<std::size_t>(std::count(vClash.begin(), vClash.end(), true));
    std::size_t fewest = num;
    for (std::uint32_t step = 1; step < 1u << (mesh.numTriangles() - 1); ++step) {
        for (const std::size_t i : vOf[static_cast<std::size_t>(std::countr_zero(step))]) {
            vClash[i] = !vClash[i];
            num = vClash[i] ? num + 1 : num - 1;
        }
        fewest = std::min(fewest, num);
    }
    return fewest;
}

// Edges of the mesh.
std::size_t stepsBetween(const TriangleMesh& mesh, std::uint32_t from, std::uint32_t to) {
    std::vector<std::vector<std::uint32_t>> vNear(mesh.vertices.size());
    for (std::uint32_t side = 0; side < mesh.indices.size(); ++side) {
        vNear[mesh.indices[side]].push_back(mesh.indices[nextSide(side)]);
        vNear[mesh.indices[nextSide(side)]].push_back(mesh.indices[side]);
    }
    std::vector<std::size_t> vSteps(mesh.vertices.size(), mesh.vertices.size());
    std::vector<std::uint32_t> vQueue{from};
    vSteps[from] = 0;
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        for (const std::uint32_t next : vNear[vQueue[i]]) {
            if (vSteps[next] < mesh.vertices.size()) continue;
            vSteps[next] = vSteps[vQueue[i]] + 1;
            vQueue.push_back(next);
        }
    }
    return vSteps[to];
}

}  // namespace

TEST(Patches, cutsAsFewEdgesAsAllOrientationsTried) {
    std::array<int, 3> numOf{};
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        Rand15 rand(seed);
        TriangleMesh mesh = makeBand(5, 2, seed % 4 != 0, rand);
        const std::size_t gone = static_cast<std::size_t>(rand.next()) % 40;
        removeIf(mesh, [&](std::size_t t) { return t == gone || (seed % 3 == 0 && t == gone + 7); });
        const std::size_t num = seamsOf(mesh).size();
        EXPECT_EQ(num, fewestClashes(mesh)) << "seed " << seed;
        ++numOf.at(num);
    }
    for (const int num : numOf) EXPECT_GT(num, 10);
}

// The triangles of another mesh come first, so that all numbers differ.
TEST(Patches, cutsABandAtItsWaistWhateverIsFar) {
    constexpr std::uint32_t numAround = 90, numAcross = 9, waist = 60;
    for (std::uint32_t seed = 1; seed <= 10; ++seed) {
        Rand15 rand(seed);
        TriangleMesh band = makeBand(numAround, numAcross, true, rand);
        const std::uint32_t left = 2 + seed % 4;  // columns of squares stay so wide there
        removeIf(band, [&](std::size_t t) {
            const std::size_t x = t / 2 / numAcross, y = t / 2 % numAcross;
            return x >= waist && x < waist + 3 && y >= left;
        });
        const std::vector<VertexPair> vSeams = seamsOf(band);
        EXPECT_EQ(vSeams.size(), left) << seed;
        for (const VertexPair& ends : vSeams) {
            EXPECT_GE(ends.first, waist * (numAcross + 1));
            EXPECT_LT(ends.second, (waist + 4) * (numAcross + 1));
        }

        // A sheet at some columns of the border.
        TriangleMesh more = band;
        const auto first = static_cast<std::uint32_t>(band.vertices.size());
        constexpr std::uint32_t numRows = 200, numColumns = 10;
        std::vector<std::uint32_t> vSheet;
        for (std::uint32_t y = 0; y < numRows; ++y)
            for (std::uint32_t x = 0; x <= numColumns; ++x) more.vertices.emplace_back(x, y + 10.0, 3.0);
        const auto at = [&](std::uint32_t x, std::uint32_t y) {
            return y == 0 ? x * (numAcross + 1) + numAcross : first + (y - 1) * (numColumns + 1) + x;
        };
        for (std::uint32_t y = 0; y < numRows; ++y)
            for (std::uint32_t x = 0; x < numColumns; ++x)
                vSheet.insert(vSheet.end(),
                              {at(x, y), at(x + 1, y), at(x, y + 1), at(x, y + 1), at(x + 1, y), at(x + 1, y + 1)});
        more.indices.insert(more.indices.begin(), vSheet.begin(), vSheet.end());
        EXPECT_EQ(seamsOf(more), vSeams) << seed;
    }
}

// Points of the rim of a hole that lie opposite each other are one: the surface there
// has one side, and no border. What parts it again is a loop through one of these.
TEST(Patches, cutsAlongTheShortestLoopThroughWhatHasOneSide) {
    constexpr std::uint32_t numSide = 40;
    for (const auto& [width, height] :
         {std::pair(4u, 4u), std::pair(2u, 9u), std::pair(14u, 3u), std::pair(12u, 12u)}) {
        const zef_test::Shape sheet = zef_test::gridSheet(numSide + 1, numSide + 1);
        TriangleMesh mesh{sheet.vertices, sheet.triples};
        const std::uint32_t low = 12;
        removeIf(mesh, [&, w = width, h = height](std::size_t t) {
            const std::size_t x = t / 2 % numSide - low, y = t / 2 / numSide - low;
            return x < w && y < h;
        });
        std::vector<std::uint32_t> vRim;
        const auto at = [&](std::uint32_t x, std::uint32_t y) { return (low + y) * (numSide + 1) + low + x; };
        for (std::uint32_t x = 0; x < width; ++x) vRim.push_back(at(x, 0));
        for (std::uint32_t y = 0; y < height; ++y) vRim.push_back(at(width, y));
        for (std::uint32_t x = width; x > 0; --x) vRim.push_back(at(x, height));
        for (std::uint32_t y = height; y > 0; --y) vRim.push_back(at(0, y));
        const std::size_t half = vRim.size() / 2;
        std::size_t shortest = half;
        for (std::size_t i = 0; i < half; ++i)
            shortest = std::min(shortest, stepsBetween(mesh, vRim[i], vRim[i + half]));
        std::vector<std::uint32_t> vNew(mesh.vertices.size());
        for (std::uint32_t i = 0; i < vNew.size(); ++i) vNew[i] = i;
        for (std::size_t i = 0; i < half; ++i) vNew[vRim[i + half]] = vRim[i];
        for (std::uint32_t& vertex : mesh.indices) vertex = vNew[vertex];
        EXPECT_EQ(seamsOf(mesh).size(), shortest) << width << " x " << height;
    }
}

// As a fresh start finds them: a band that is opened elsewhere has two sides, and one that is not keeps its seam.
TEST(Patches, followsChangesAtAndOffSeams) {
    Rand15 rand(7);
    const TriangleMesh band = makeBand(60, 4, true, rand);
    const std::vector<VertexPair> vSeams = seamsOf(band);
    ASSERT_EQ(vSeams.size(), 4u);
    const auto column = [&](std::uint32_t x) {
        std::vector<std::uint32_t> vTriangles(8);
        for (std::uint32_t i = 0; i < 8; ++i) vTriangles[i] = 8 * x + i;
        return vTriangles;
    };
    const std::uint32_t seamColumn = vSeams[0].first / 5, other = (seamColumn + 30) % 59;
    Found touched(band), opened(band), atSeam(band);
    touched.kill({8 * other});
    touched.expectOriented();
    EXPECT_EQ(touched.patches.vSeams, vSeams);
    opened.kill(column(other));
    opened.expectOriented();
    EXPECT_TRUE(opened.patches.vSeams.empty());
    // Part of the seam goes, and a narrower place comes.
    atSeam.kill({8 * seamColumn, 8 * seamColumn + 1});
    atSeam.expectOriented();
    EXPECT_EQ(atSeam.patches.vSeams.size(), 3u);
    atSeam.kill(column(seamColumn));
    atSeam.expectOriented();
    EXPECT_TRUE(atSeam.patches.vSeams.empty());
}
