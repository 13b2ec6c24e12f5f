#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "cloud/Cloud.h"
#include "support/drawnCells.h"
#include "support/tempFolder.h"
#include "tiles/jobFiles.h"
#include "zef/tiles.h"

using namespace QUOR_ZEF;
using zef_test::Draws;
using zef_test::TempFolder;
namespace fs = std::filesystem;

namespace {

constexpr double ringRadius = 8.0, tubeRadius = 3.0;

double distanceToTorus(const Point3& p) {
    return std::abs(std::hypot(std::hypot(p.px, p.py) - ringRadius, p.pz) - tubeRadius);
}

// A torus, so that each tile has open pieces, and beside it a sheet whose rim crosses a seam.
std::vector<Point3> torusAndSheet(int num) {
    Draws draws(5);
    std::vector<Point3> v;
    while (static_cast<int>(v.size()) < num) {
        const double u = draws.between(0.0, 2.0 * M_PI);
        const double t = draws.between(0.0, 2.0 * M_PI);
        const double keep = draws.between(0.0, 1.0);
        const double distance = ringRadius + tubeRadius * std::cos(t);
        if (keep < distance / (ringRadius + tubeRadius))
            v.emplace_back(distance * std::cos(u), distance * std::sin(u), tubeRadius * std::sin(t));
    }
    for (int i = 0; i < num / 4; ++i) {
        const double x = draws.between(-8.0, 8.0);
        const double y = draws.between(-8.0, 8.0);
        v.emplace_back(x, y, 9.0 + 0.3 * std::sin(x));
    }
    return v;
}

struct TiledScan {
    TempFolder folder;
    fs::path input = folder.path / "points.ply", job = folder.path / "job";
    std::vector<Point3> vPoints = torusAndSheet(24'000);
    TileOptions options;

    TiledScan() {
        WriteOptions exact;
        exact.precision = Precision::DOUBLE;
        write(input, vPoints, exact);
        options.cuts = {2, 2, 1};
        options.halo = 24;
    }
    TilePlan begin() const {
        TilePlan plan = planTiles({input}, job, options);
        splitTiles(job);
        return plan;
    }
    void meshAll(const std::vector<std::uint32_t>& vOrder) const {
        for (const std::uint32_t tile : vOrder) meshTile(job, tile);
    }
    std::string finish() const {
        settleTiles(job);
        joinTiles(job);
        return folder.get("job/mesh.ply");
    }
};

std::set<std::array<double, 3>> placesOf(const TriangleMesh& mesh) {
    std::set<std::array<double, 3>> places;
    for (const Point3& p : mesh.vertices) places.insert({p.px, p.py, p.pz});
    return places;
}

using Corners = std::array<std::array<double, 3>, 3>;  // from the least on

std::set<Corners> cornersOf(const TriangleMesh& mesh) {
    std::set<Corners> triangles;
    for (std::size_t t = 0; t < mesh.indices.size(); t += 3) {
        Corners corners;
        for (std::size_t i = 0; i < 3; ++i) {
            const Point3& p = mesh.vertices[mesh.indices[t + i]];
            corners[i] = {p.px, p.py, p.pz};
        }
        std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
        triangles.insert(corners);
    }
    return triangles;
}

// Parts that share the places at seams give the whole, within the boxes that the tileset tells.
void expectParts(const TiledScan& scan, const TriangleMesh& mesh) {
    const fs::path folder = scan.folder.path / "parts";
    exportTileset(scan.job, folder);
    const nlohmann::json tileset = nlohmann::json::parse(scan.folder.get("parts/tileset.json"));
    EXPECT_EQ(tileset["asset"]["version"], "1.1");
    std::set<std::array<double, 3>> places;
    std::size_t numTriangles = 0;
    for (const auto& child : tileset["root"]["children"]) {
        const TriangleMesh part = readMesh(folder / child["content"]["uri"].get<std::string>());
        const auto box = child["boundingVolume"]["box"].get<std::vector<double>>();
        for (const Point3& p : part.vertices) {
            places.insert({p.px, p.py, p.pz});
            // As viewers turn it.
            EXPECT_LE(std::abs(p.px - box[0]), box[3] + 1e-6);
            EXPECT_LE(std::abs(-p.pz - box[1]), box[7] + 1e-6);
            EXPECT_LE(std::abs(p.py - box[2]), box[11] + 1e-6);
        }
        numTriangles += part.numTriangles();
    }
    EXPECT_EQ(tileset["root"]["children"].size(), 4u);
    EXPECT_EQ(numTriangles, mesh.numTriangles());
    EXPECT_EQ(places, placesOf(mesh));
}

}  // namespace

TEST(TileSeams, giveTheMeshOfTheWhole) {
    const TiledScan scan;
    const TilePlan plan = scan.begin();
    scan.meshAll({0, 1, 2, 3});
    scan.finish();
    const TriangleMesh mesh = readMesh(scan.job / "mesh.ply");
    ReconstructOptions options;
    options.thinWalls = false;
    const TriangleMesh whole = reconstruct(scan.vPoints, options).mesh;

    const MeshReport report = check(mesh), wanted = check(whole);
    EXPECT_TRUE(report.manifold && report.oriented);
    EXPECT_EQ(report.numBorderLoops, 1u);
    EXPECT_EQ(report.numBorderEdges, wanted.numBorderEdges);
    EXPECT_EQ(report.numTriangles, wanted.numTriangles);
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
    ASSERT_EQ(report.components.size(), 2u);
    const MeshComponent& ring = report.components[report.components[0].closed ? 0 : 1];
    EXPECT_TRUE(ring.closed);
    EXPECT_EQ(ring.genus, 1);
    EXPECT_NEAR(ring.volume, 2.0 * M_PI * M_PI * ringRadius * tubeRadius * tubeRadius, 0.01 * ring.volume);

    const auto farthestOf = [](const TriangleMesh& of) {
        double farthest = 0.0;
        for (const Point3& p : of.vertices)
            if (p.pz < 5.0) farthest = std::max(farthest, distanceToTorus(p));
        return farthest;
    };
    EXPECT_LE(farthestOf(mesh), 1.01 * farthestOf(whole));
    EXPECT_LT(farthestOf(whole), 0.6 * plan.grid.spacing);
    expectParts(scan, mesh);
}

// Nothing is decided from farther away than the halo, fitting included.
TEST(TileSeams, giveTheTrianglesOfTheWholeAndTheSameBytesWhateverTheCuts) {
    ReconstructOptions options;
    options.thinWalls = false;
    const TiledScan first;
    const std::set<Corners> wanted = cornersOf(reconstruct(first.vPoints, options).mesh);
    std::string bytes;
    for (const std::array<int, 3>& cuts : {std::array{1, 1, 1}, std::array{2, 2, 1}, std::array{3, 1, 1}}) {
        TiledScan scan;
        scan.options.cuts = cuts;
        scan.options.halo = 64;
        for (std::uint32_t tile = 0; tile < scan.begin().boxes.size(); ++tile) meshTile(scan.job, tile);
        const std::string joined = scan.finish();
        EXPECT_TRUE(cornersOf(readMesh(scan.job / "mesh.ply")) == wanted);
        if (bytes.empty()) bytes = joined;
        EXPECT_TRUE(joined == bytes);
    }
}

TEST(TileSeams, doNotDependOnOrderThreadsOrRestarts) {
    const TiledScan scan, other;
    scan.begin();
    scan.meshAll({0, 1, 2, 3});
    const std::string bytes = scan.finish();

    other.begin();
    Context one;
    one.threads = 1;
    for (const std::uint32_t tile : {3u, 1u, 0u, 2u}) meshTile(other.job, tile, one);
    EXPECT_EQ(other.folder.get("job/meshes/0002.tile").size(), scan.folder.get("job/meshes/0002.tile").size());
    EXPECT_TRUE(other.finish() == bytes);

    // What is damaged is told, and done again once it is gone.
    const fs::path tile = tilePath(other.job, 2);
    std::string damaged = other.folder.get("job/meshes/0002.tile");
    fs::remove(other.job / "done" / "join.json");
    fs::remove(other.job / "done" / "settle.json");
    for (const std::size_t size : {std::size_t{0}, std::size_t{40}, damaged.size() / 2, damaged.size() - 1}) {
        std::ofstream(tile, std::ios::binary) << damaged.substr(0, size);
        EXPECT_THROW(settleTiles(other.job), FileError) << size;
    }
    meshTile(other.job, 2);
    EXPECT_TRUE(other.finish() == bytes);
}

TEST(TileSeams, tilesAreAskedForInTheirOrder) {
    const TiledScan scan;
    EXPECT_THROW(meshTile(scan.job, 0), FileError);
    scan.begin();
    EXPECT_THROW(meshTile(scan.job, 4), ArgumentError);
    EXPECT_THROW(settleTiles(scan.job), FileError);
    EXPECT_THROW(joinTiles(scan.job), FileError);
}
