#include "tiles/BandMesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>

#include "support/shapes.h"
#include "tiles/TileOwners.h"
#include "tiles/bandFinish.h"
#include "zef/meshCheck.h"

using namespace QUOR_ZEF;

namespace {

// Two tiles of a flat sheet, which meet at x = 100. Each cell has a vertex in its middle.
constexpr std::uint64_t seam = 100, first = 80, last = 120;

TilePlan twoTiles() {
    TilePlan plan;
    plan.grid.spacing = 1.0;
    plan.grid.numLevels = 8;
    plan.options.halo = 40;
    plan.boxes = {{{0, 0, 0}, {seam, 256, 256}}, {{seam, 0, 0}, {256, 256, 256}}};
    plan.numPoints = {1, 1};
    return plan;
}

using Quad = std::array<std::uint64_t, 2>;    // its lower corner
using Cut = std::function<int(const Quad&)>;  // 0 or 1: which way a quad is cut in two; 2: it is not there

// The band of a tile that sees the sheet so.
TileMesh bandOf(const TilePlan& plan, std::uint32_t tile, const Cut& cut, bool bTurned) {
    const TileOwners owners(plan, tile);
    TileMesh band;
    std::map<Quad, std::uint32_t> numbers;
    const auto vertexAt = [&](std::uint64_t x, std::uint64_t y) {
        const auto [it, bNew] = numbers.try_emplace({x, y}, static_cast<std::uint32_t>(band.vKeys.size()));
        if (bNew) {
            const uint64 cell = packCCD(x, y, 50);
            band.vKeys.push_back({cell, 0, owners.ownerOf(cell)});
            band.vVertices.emplace_back(double(x) + 0.5, double(y) + 0.5, 50.5);
        }
        return it->second;
    };
    const auto isBand = [&](std::uint64_t x) { return owners.isShared({x, 100, 50}); };
    const auto beyond = [&](const Quad& q) {
        if (q[0] < first || q[0] >= last || q[1] < first || q[1] >= last || cut(q) == 2) return Beyond::NOTHING;
        return isBand(q[0]) || isBand(q[0] + 1) ? Beyond::BAND : Beyond::CORE;
    };
    for (std::uint64_t x = first; x < last; ++x) {
        for (std::uint64_t y = first; y < last; ++y) {
            const Quad q = {x, y};
            if (beyond(q) != Beyond::BAND || cut(q) == 2) continue;
            // Around the quad from its lower corner on, with what lies beyond each side.
            const std::array<std::array<std::uint64_t, 2>, 4> corners = {
                {{x, y}, {x + 1, y}, {x + 1, y + 1}, {x, y + 1}}};
            const std::array<Beyond, 4> sides = {beyond({x, y - 1}), beyond({x + 1, y}), beyond({x, y + 1}),
                                                 beyond({x - 1, y})};
            const auto shift = static_cast<std::size_t>(cut(q));
            for (const std::size_t k : {shift, shift + 2}) {
                std::array<std::uint32_t, 3> triple;
                for (std::size_t i = 0; i < 3; ++i)
                    triple[i] = vertexAt(corners[(k + i) % 4][0], corners[(k + i) % 4][1]);
                std::array<Beyond, 3> out = {sides[k % 4], sides[(k + 1) % 4], Beyond::BAND};
                if (bTurned) {
                    std::swap(triple[0], triple[1]);
                    std::swap(out[1], out[2]);
                }
                band.vBand.insert(band.vBand.end(), triple.begin(), triple.end());
                band.vBeyond.insert(band.vBeyond.end(), out.begin(), out.end());
                band.vCoreBeyond.insert(band.vCoreBeyond.end(), 3, TileMesh::none);
            }
        }
    }
    return band;
}

BandMesh settled(const Cut& cutLeft, const Cut& cutRight, bool bTurned = false) {
    const TilePlan plan = twoTiles();
    std::vector<TileMesh> vBands = {bandOf(plan, 0, cutLeft, false), bandOf(plan, 1, cutRight, bTurned)};
    BandMesh band(plan, vBands);
    band.settle();
    return band;
}

// How many sides of the band are borders where the sheet goes on.
std::size_t countGaps(const BandMesh& band) {
    const MeshReport report = check(band.mesh);
    const std::size_t outline = 2 * (last - first) + 2 * (2 * TileOwners::bandWidth + 1);
    return report.numBorderEdges - outline;
}

int plain(const Quad&) {
    return 0;
}

}  // namespace

TEST(BandMesh, takesWhatTilesAgreeOn) {
    const BandMesh band = settled(plain, plain);
    EXPECT_EQ(band.numDisputed, 0u);
    EXPECT_EQ(countGaps(band), 0u);
    EXPECT_EQ(band.mesh.numTriangles(), 2 * (2 * TileOwners::bandWidth + 1) * (last - first));
}

// Whatever one tile sees otherwise, at the seam, beside it or across, the result is as one of them has it.
TEST(BandMesh, settlesWhereTilesDiffer) {
    const std::size_t all = settled(plain, plain).mesh.numTriangles();
    for (const std::uint64_t x : {94u, 98u, 99u, 100u, 104u}) {
        const Cut other = [x](const Quad& q) { return q[0] >= x && q[0] < x + 3 && q[1] > 90 && q[1] < 95 ? 1 : 0; };
        const Cut hole = [x](const Quad& q) { return q[0] >= x && q[0] < x + 2 && q[1] > 90 && q[1] < 94 ? 2 : 0; };
        for (const bool bLeft : {true, false}) {
            const BandMesh turned = bLeft ? settled(other, plain) : settled(plain, other);
            EXPECT_EQ(turned.numDisputed, 48u);
            EXPECT_EQ(turned.mesh.numTriangles(), all);
            EXPECT_EQ(countGaps(turned), 0u);
            EXPECT_EQ(check(turned.mesh).numNonManifoldEdges, 0u);
            const BandMesh open = bLeft ? settled(hole, plain) : settled(plain, hole);
            const bool bClosed = open.mesh.numTriangles() == all;
            EXPECT_EQ(countGaps(open), bClosed ? 0u : 10u);
            EXPECT_EQ(open.mesh.numTriangles(), bClosed ? all : all - 12);
            EXPECT_EQ(open.numGaps, 0u);
        }
    }
}

// A difference that goes on through the whole band, and beyond it.
TEST(BandMesh, fillsWhatNoTileHas) {
    const Cut left = [](const Quad& q) { return q[1] == 95 && q[0] >= seam - 2 ? 2 : 0; };
    const Cut right = [](const Quad& q) { return q[1] == 104 && q[0] < seam + 2 ? 2 : 0; };
    const BandMesh band = settled(left, right);
    const MeshReport report = check(band.mesh);
    EXPECT_EQ(report.numNonManifoldEdges, 0u);
    EXPECT_EQ(report.numNonManifoldVertices, 0u);
    EXPECT_EQ(band.numGaps, 0u);
}

TEST(BandMesh, fansArePartedWhereNeighboursAreTurned) {
    BandMesh band = settled(plain, plain, true);
    const std::size_t numVertices = band.mesh.vertices.size();
    EXPECT_EQ(check(band.mesh).numOrientationConflicts, last - first);
    EXPECT_EQ(partFans(band.mesh, band.vKeys, band.vBeyond), last - first);
    const MeshReport report = check(band.mesh);
    EXPECT_TRUE(report.manifold && report.oriented);
    EXPECT_EQ(report.numComponents, 2u);
    EXPECT_EQ(band.mesh.vertices.size(), numVertices + last - first + 1);
}
