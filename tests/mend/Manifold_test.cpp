#include "mend/Manifold.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <iterator>
#include <map>
#include <set>

#include "check/checkTriangles.h"
#include "frame/Rand15.h"
#include "simplify/FanSurface.h"
#include "support/digest.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

using Corners = std::array<std::array<std::uint64_t, 3>, 3>;

TriangleMesh flat(const zef_test::Shape& shape) {
    return {shape.vertices, shape.triples};
}

// Of 39 squares a side, without so many each way from the 20th on.
TriangleMesh sheetWithHole(std::uint32_t width) {
    const zef_test::Shape sheet = zef_test::gridSheet(40, 40);
    TriangleMesh mesh{sheet.vertices, {}};
    for (std::uint32_t quad = 0; quad < 39 * 39; ++quad) {
        const std::uint32_t x = quad % 39 - 20, y = quad / 39 - 20;
        if (x >= width || y >= width)
            mesh.indices.insert(mesh.indices.end(), &sheet.triples[6 * quad], &sheet.triples[6 * quad] + 6);
    }
    return mesh;
}

void append(TriangleMesh& mesh, const zef_test::Shape& shape, const Vector3& move) {
    const auto first = static_cast<std::uint32_t>(mesh.vertices.size());
    for (const Point3& p : shape.vertices) mesh.vertices.push_back(p + move);
    for (const std::uint32_t i : shape.triples) mesh.indices.push_back(first + i);
}

std::array<std::uint64_t, 3> bitsOf(const Point3& p) {
    std::array<std::uint64_t, 3> bits{};
    std::memcpy(bits.data(), &p.px, sizeof(bits));
    return bits;
}

// The positions of the triangles, without order of triangles or corners.
std::multiset<Corners> positionsOf(const TriangleMesh& mesh) {
    std::multiset<Corners> positions;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        Corners corners{};
        for (std::size_t k = 0; k < 3; ++k) corners[k] = bitsOf(mesh.vertices[mesh.indices[i + k]]);
        std::sort(corners.begin(), corners.end());
        positions.insert(corners);
    }
    return positions;
}

// What must hold afterwards, whatever the input.
void expectSound(const TriangleMesh& before, const TriangleMesh& after, const ManifoldReport& report) {
    const MeshReport check = checkTriangles(after);
    EXPECT_EQ(check.numNonManifoldEdges, 0u);
    EXPECT_EQ(check.numNonManifoldVertices, 0u);
    EXPECT_EQ(check.numOrientationConflicts, 0u);
    EXPECT_EQ(check.numDuplicateTriangles, 0u);
    EXPECT_EQ(check.numComponents, report.numComponents);
    std::size_t numClosed = 0;
    for (const MeshComponent& component : check.components) {
        numClosed += component.closed;
        // Flat closed bodies have a volume of rounding errors.
        EXPECT_GT(component.volume, -1e-9);
    }
    EXPECT_EQ(numClosed, report.numClosedComponents);
    ASSERT_EQ(after.vertices.size(), before.vertices.size() + report.numAddedVertices);
    for (std::size_t i = 0; i < before.vertices.size(); ++i)
        ASSERT_EQ(bitsOf(before.vertices[i]), bitsOf(after.vertices[i]));
    ASSERT_EQ(after.numTriangles() + report.numRemovedDuplicates + report.numRemovedSheetTriangles +
                  report.numRenewedTriangles,
              before.numTriangles() + report.numAddedTriangles);
    const std::multiset<Corners> positionsBefore = positionsOf(before), positionsAfter = positionsOf(after);
    std::vector<Corners> vAdded;
    std::set_difference(positionsAfter.begin(), positionsAfter.end(), positionsBefore.begin(), positionsBefore.end(),
                        std::back_inserter(vAdded));
    EXPECT_LE(vAdded.size(), report.numAddedTriangles);
}

ManifoldReport repair(TriangleMesh& mesh, const ManifoldOptions& options = {}) {
    const TriangleMesh before = mesh;
    ManifoldReport report;
    makeManifold(mesh, options, report);
    expectSound(before, mesh, report);
    return report;
}

// Random triangles without repeated corners, on few vertices so that edges are crowded.
TriangleMesh randomSoup(std::uint32_t seed, std::uint32_t numVertices, std::size_t numTriangles) {
    Rand15 rand(seed);
    TriangleMesh soup;
    const auto coordinate = [&] { return rand.next() / 1000.0; };
    for (std::uint32_t i = 0; i < numVertices; ++i) {
        const double x = coordinate(), y = coordinate(), z = coordinate();
        soup.vertices.emplace_back(x, y, z);
    }
    const auto vertex = [&] { return static_cast<std::uint32_t>(rand.next()) % numVertices; };
    while (soup.numTriangles() < numTriangles) {
        const std::uint32_t a = vertex(), b = vertex(), c = vertex();
        if (a != b && b != c && c != a) soup.indices.insert(soup.indices.end(), {a, b, c});
    }
    return soup;
}

}  // namespace

TEST(Manifold, leavesGoodMeshesAsTheyAre) {
    for (const zef_test::Shape& shape : {zef_test::icosphere(2), zef_test::torus(20, 10, 3.0, 1.0),
                                         zef_test::openCylinder(12, 4, 1.0, 2.0), zef_test::gridSheet(5, 4)}) {
        TriangleMesh mesh = flat(shape);
        const ManifoldReport report = repair(mesh);
        EXPECT_EQ(mesh.indices, shape.triples);
        EXPECT_EQ(report.numComponents, 1u);
        EXPECT_EQ(report.numReversedTriangles + report.numAddedVertices + report.numNonManifoldEdges, 0u);
    }
}

TEST(Manifold, holdsOnRandomSoups) {
    std::vector<std::uint64_t> vAll;
    for (std::uint32_t seed = 1; seed <= 300; ++seed) {
        TriangleMesh soup = randomSoup(seed, 4 + seed % 23, 3 + seed % 97);
        repair(soup, {.exactVertices = seed % 2 == 0});
        vAll.insert(vAll.end(), soup.indices.begin(), soup.indices.end());
        if (HasFailure()) FAIL() << "seed " << seed;
    }
    EXPECT_EQ(zef_test::digest(vAll), 0x6320961e3706f83u);
}

// A part of a grid of boxes: all the faces that separate a full cell from an empty
// one, so that boxes touch at edges and corners, with some faces turned around.
TEST(Manifold, holdsOnTouchingBoxes) {
    constexpr std::uint32_t n = 5;
    for (std::uint32_t seed = 1; seed <= 30; ++seed) {
        Rand15 rand(seed);
        std::array<bool, n * n * n> bFull{};
        for (bool& b : bFull) b = rand.next() % 3 == 0;
        TriangleMesh mesh;
        for (std::uint32_t i = 0; i < (n + 1) * (n + 1) * (n + 1); ++i)
            mesh.vertices.emplace_back(i % (n + 1), i / (n + 1) % (n + 1), i / ((n + 1) * (n + 1)));
        const auto full = [&](std::array<std::uint32_t, 3> c) {
            for (const std::uint32_t k : c)
                if (k >= n) return false;
            return bFull[(c[2] * n + c[1]) * n + c[0]];
        };
        const std::array<std::uint32_t, 3> step{1, n + 1, (n + 1) * (n + 1)};
        std::size_t numFull = 0;
        for (std::uint32_t cell = 0; cell < n * n * n; ++cell) {
            const std::array<std::uint32_t, 3> c{cell % n, cell / n % n, cell / (n * n)};
            if (!full(c)) continue;
            ++numFull;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                for (const std::uint32_t up : {0u, 1u}) {
                    std::array<std::uint32_t, 3> next = c;
                    next[axis] += up ? 1u : ~0u;
                    if (full(next)) continue;
                    const std::uint32_t a = c[0] * step[0] + c[1] * step[1] + c[2] * step[2] + up * step[axis];
                    const std::uint32_t u = step[(axis + 1) % 3], v = step[(axis + 2) % 3];
                    std::array<std::uint32_t, 6> quad{a, a + u, a + u + v, a, a + u + v, a + v};
                    if (!up) quad = {a, a + u + v, a + u, a, a + v, a + u + v};
                    mesh.indices.insert(mesh.indices.end(), quad.begin(), quad.end());
                }
            }
        }
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3)
            if (rand.next() % 3 == 0) std::swap(mesh.indices[i], mesh.indices[i + 1]);
        const ManifoldReport report = repair(mesh);
        EXPECT_EQ(report.numSeamEdges, 0u);
        // Solids stay solids: no surface opens.
        const MeshReport check = checkTriangles(mesh);
        EXPECT_TRUE(check.closed);
        if (HasFailure()) FAIL() << "seed " << seed << ", " << numFull << " boxes";
    }
}

TEST(Manifold, separatesAHundredTrianglesAtOneEdge) {
    TriangleMesh book;
    book.vertices = {{0, 0, 0}, {0, 0, 1}};
    for (std::uint32_t i = 0; i < 100; ++i) {
        const double angle = 2.0 * M_PI * i / 100;
        book.vertices.emplace_back(std::cos(angle), std::sin(angle), 0.5);
        book.indices.insert(book.indices.end(), {i % 3 ? 0u : 1u, i % 3 ? 1u : 0u, i + 2});
    }
    const ManifoldReport report = repair(book);
    EXPECT_EQ(report.numNonManifoldEdges, 1u);
    // Pairs of neighbours, and single ones between two pairs at most.
    EXPECT_GE(report.numComponents, 50u);
    EXPECT_LE(report.numComponents, 67u);
}

TEST(Manifold, cutsBowTies) {
    TriangleMesh mesh;
    mesh.vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
    mesh.indices = {0, 1, 2, 0, 3, 4};
    const ManifoldReport report = repair(mesh);
    EXPECT_EQ(report.numSplitVertices, 1u);
    EXPECT_EQ(mesh.indices, (std::vector<std::uint32_t>{0, 1, 2, 5, 3, 4}));
}

TEST(Manifold, cutsAMoebiusStripAcrossOnce) {
    TriangleMesh mesh = flat(zef_test::moebiusStrip(20));
    const ManifoldReport report = repair(mesh);
    EXPECT_FALSE(report.isOrientable());
    EXPECT_LE(report.numSeamEdges, 2u);
    EXPECT_EQ(report.numComponents, 1u);
    EXPECT_EQ(checkTriangles(mesh).numBorderLoops, 1u);
}

TEST(Manifold, removesDuplicatesInAnyOrientation) {
    TriangleMesh mesh = flat(zef_test::icosphere(1));
    const std::vector<std::uint32_t> vTriples = mesh.indices;
    for (const std::size_t t : {3u, 40u, 3u})
        mesh.indices.insert(mesh.indices.end(), {vTriples[3 * t + 1], vTriples[3 * t], vTriples[3 * t + 2]});
    EXPECT_EQ(repair(mesh).numRemovedDuplicates, 3u);
    EXPECT_EQ(mesh.indices, vTriples);
}

// A fin of two triangles on an edge of a sphere, and a disc across its equator.
TEST(Manifold, removesSmallSheetsOnLargeOnes) {
    const zef_test::Shape sphere = zef_test::icosphere(3);
    TriangleMesh mesh = flat(sphere);
    const auto top = static_cast<std::uint32_t>(mesh.vertices.size());
    mesh.vertices.emplace_back(0, 0, 9);
    mesh.vertices.emplace_back(0, 9, 9);
    mesh.indices.insert(mesh.indices.end(), {sphere.triples[0], sphere.triples[1], top});
    mesh.indices.insert(mesh.indices.end(), {sphere.triples[1], top, top + 1});
    const ManifoldReport report = repair(mesh);
    EXPECT_EQ(report.numRemovedSheets, 1u);
    EXPECT_EQ(report.numRemovedSheetTriangles, 2u);
    EXPECT_EQ(mesh.indices, sphere.triples);
}

// A wall across the inside of a sphere, at the equator, as large as it gets.
TEST(Manifold, removesAWallAcrossABody) {
    const zef_test::Shape sphere = zef_test::icosphere(4);
    TriangleMesh mesh = flat(sphere);
    const auto middle = static_cast<std::uint32_t>(mesh.vertices.size());
    mesh.vertices.emplace_back(0, 0, 0);
    const std::size_t numOuter = mesh.indices.size();
    // The rim: edges between triangles whose middles lie below and above.
    const auto isUp = [&](std::size_t t) {
        double z = 0.0;
        for (std::size_t i = 0; i < 3; ++i) z += sphere.vertices[sphere.triples[3 * t + i]].pz;
        return z > 1e-9;
    };
    std::map<std::pair<std::uint32_t, std::uint32_t>, int> mSides;
    for (std::uint32_t side = 0; side < numOuter; ++side) {
        const std::uint32_t a = sphere.triples[side], b = sphere.triples[side % 3 == 2 ? side - 2 : side + 1];
        mSides[std::minmax(a, b)] += isUp(side / 3);
    }
    for (const auto& [ends, numUp] : mSides)
        if (numUp == 1) mesh.indices.insert(mesh.indices.end(), {ends.first, ends.second, middle});
    const std::size_t numWall = (mesh.indices.size() - numOuter) / 3;
    ASSERT_GT(numWall, 40u);
    EXPECT_EQ(repair(mesh).numRemovedSheetTriangles, numWall);
    EXPECT_EQ(mesh.indices, sphere.triples);
}

// A groove that a membrane runs across, but for a part of its bottom: that is open at
// both ends, yet its vertices are those of the surface.
TEST(Manifold, keepsTheBottomOfAGroove) {
    constexpr std::uint32_t numRows = 30, firstRow = 8, lastRow = 20;
    const std::vector<std::pair<double, double>> vProfile{{-6, 0},  {-5, 0}, {-4, 0}, {-3, 0}, {-2, 0},
                                                          {-1, -1}, {0, -2}, {1, -1}, {2, 0},  {3, 0},
                                                          {4, 0},   {5, 0},  {6, 0}};
    const auto width = static_cast<std::uint32_t>(vProfile.size()), crease = width / 2;
    TriangleMesh mesh;
    for (std::uint32_t y = 0; y <= numRows; ++y)
        for (const auto& [x, z] : vProfile) mesh.vertices.emplace_back(x, y, z);
    const auto addQuad = [&](std::uint32_t y, std::uint32_t left, std::uint32_t right) {
        const std::uint32_t a = y * width + left, b = y * width + right;
        mesh.indices.insert(mesh.indices.end(), {a, b, b + width, a, b + width, a + width});
    };
    for (std::uint32_t y = 0; y < numRows; ++y) {
        for (std::uint32_t x = 0; x + 1 < width; ++x)
            if ((x != crease && x + 1 != crease) || (y >= firstRow && y < lastRow)) addQuad(y, x, x + 1);
        addQuad(y, crease - 1, crease + 1);
    }
    repair(mesh, {.exactVertices = true});
    const MeshReport check = checkTriangles(mesh);
    EXPECT_EQ(check.numBorderLoops, 1u);
    EXPECT_EQ(check.numComponents, 1u);
    const auto at = [&](std::uint32_t vertex) { return mesh.vertices[vertex] - Point3(0, 0, 0); };
    for (std::uint32_t y = firstRow + 1; y < lastRow; ++y) {
        Foot foot;
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            Foot here;
            findFoot(at(y * width + crease), at(mesh.indices[i]), at(mesh.indices[i + 1]), at(mesh.indices[i + 2]),
                     here);
            foot.sqDistance = std::min(foot.sqDistance, here.sqDistance);
        }
        EXPECT_LT(foot.sqDistance, 0.1) << y;
    }
}

// Of a body; what is open stays open.
TEST(Manifold, fillsSmallHolesAndLeavesLargeOnesAndEnds) {
    const zef_test::Shape sphere = zef_test::icosphere(4);
    const auto last = static_cast<std::uint32_t>(sphere.vertices.size() - 1);
    // Without the triangles whose corners are all close to the first or last vertex.
    const auto withHoles = [&](double size) {
        TriangleMesh mesh{sphere.vertices, {}};
        for (std::size_t i = 0; i < sphere.triples.size(); i += 3) {
            const auto isNear = [&](const Point3& p) {
                return std::all_of(&sphere.triples[i], &sphere.triples[i] + 3,
                                   [&](std::uint32_t v) { return (sphere.vertices[v] - p).length() < size; });
            };
            if (!isNear(sphere.vertices[0]) && !isNear(sphere.vertices[last]))
                mesh.indices.insert(mesh.indices.end(), &sphere.triples[i], &sphere.triples[i] + 3);
        }
        return mesh;
    };
    for (const double size : {0.1, 0.2}) {
        TriangleMesh mesh = withHoles(size);
        TriangleMesh kept = mesh;
        ManifoldReport report;
        makeManifold(kept, {.fillHoles = false}, report);
        EXPECT_EQ(kept.indices, mesh.indices);
        EXPECT_EQ(repair(mesh).numClosedLoops, 2u);
        const MeshReport check = checkTriangles(mesh);
        EXPECT_TRUE(check.closed);
        EXPECT_EQ(check.euler, 2);
        EXPECT_NEAR(check.volume, 4.17, 0.02);
    }
    TriangleMesh open = withHoles(0.7);
    EXPECT_EQ(repair(open).numAddedTriangles, 0u);
    TriangleMesh pipe = flat(zef_test::openCylinder(12, 60, 1.0, 30.0));
    EXPECT_EQ(repair(pipe).numAddedTriangles, 0u);

    for (const std::uint32_t width : {4u, 5u}) {
        TriangleMesh sheet = sheetWithHole(width);
        repair(sheet);
        EXPECT_EQ(checkTriangles(sheet).numBorderLoops, width == 4 ? 1u : 2u);
        EXPECT_DOUBLE_EQ(checkTriangles(sheet).area, width == 4 ? 39.0 * 39.0 : 39.0 * 39.0 - 25.0);
    }
}

// Slivers at the rim of a hole, folded back a little, look away from all else.
TEST(Manifold, fillsAFlatHoleWithSliversAtItsRim) {
    TriangleMesh sheet = sheetWithHole(2);
    ASSERT_EQ(checkTriangles(sheet).numBorderLoops, 2u);
    const auto at = [](std::uint32_t x, std::uint32_t y) { return 40 * y + x; };
    for (std::uint32_t x = 20; x < 22; ++x) {
        for (const std::uint32_t y : {20u, 22u}) {
            const std::uint32_t a = y == 20 ? at(x + 1, y) : at(x, y), b = y == 20 ? at(x, y) : at(x + 1, y);
            const Point3 middle = sheet.vertices[a] + (sheet.vertices[b] - sheet.vertices[a]) * 0.5;
            const auto added = static_cast<std::uint32_t>(sheet.vertices.size());
            sheet.vertices.emplace_back(middle.px, middle.py + (y == 20 ? -0.01 : 0.01), middle.pz);
            sheet.indices.insert(sheet.indices.end(), {a, b, added});
        }
    }
    repair(sheet);
    EXPECT_EQ(checkTriangles(sheet).numBorderLoops, 1u);
}

// A second wall a little above a part of a sphere, and triangles torn out of both:
// the surface goes on in one or in the other, here and there, and may even lose its sides.
TEST(Manifold, closesTornBlisters) {
    std::vector<std::uint64_t> vAll;
    for (std::uint32_t seed = 1; seed <= 15; ++seed) {
        Rand15 rand(seed);
        const zef_test::Shape sphere = zef_test::icosphere(4);
        TriangleMesh mesh = flat(sphere);
        const std::uint32_t numVertices = static_cast<std::uint32_t>(mesh.vertices.size());
        const Point3 top = sphere.vertices[static_cast<std::size_t>(rand.next()) % numVertices];
        const auto isInside = [&](std::uint32_t v) { return (sphere.vertices[v] - top).length() < 0.35; };
        for (std::uint32_t v = 0; v < numVertices; ++v) {
            const Point3& p = sphere.vertices[v];
            mesh.vertices.emplace_back(1.05 * p.px, 1.05 * p.py, 1.05 * p.pz);
        }
        for (std::size_t i = 0; i < sphere.triples.size(); i += 3) {
            std::array<std::uint32_t, 3> corners{};
            std::copy_n(sphere.triples.begin() + static_cast<std::ptrdiff_t>(i), 3, corners.begin());
            if (std::none_of(corners.begin(), corners.end(), isInside)) continue;
            for (std::uint32_t& v : corners)
                if (isInside(v)) v += numVertices;
            mesh.indices.insert(mesh.indices.end(), corners.begin(), corners.end());
        }
        std::vector<std::uint32_t> vTorn;
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            const bool bNear = (sphere.vertices[mesh.indices[i] % numVertices] - top).length() < 0.4;
            if (bNear && rand.next() % 12 == 0) continue;
            vTorn.insert(vTorn.end(), mesh.indices.begin() + static_cast<std::ptrdiff_t>(i),
                         mesh.indices.begin() + static_cast<std::ptrdiff_t>(i + 3));
        }
        mesh.indices = vTorn;
        const ManifoldReport report = repair(mesh);
        EXPECT_EQ(report.numClosedComponents, report.numComponents);
        EXPECT_EQ(report.numSeamEdges, 0u);
        EXPECT_NEAR(checkTriangles(mesh).volume, 4.17, 0.06);
        vAll.insert(vAll.end(), mesh.indices.begin(), mesh.indices.end());
        if (HasFailure()) FAIL() << "seed " << seed;
    }
    EXPECT_EQ(zef_test::digest(vAll), 0x7624778fa96326eeu);
}

TEST(Manifold, turnsBodiesOutwardAndSheetsUp) {
    const auto turned = [](zef_test::Shape shape) {
        for (std::size_t i = 0; i < shape.triples.size(); i += 3) std::swap(shape.triples[i], shape.triples[i + 1]);
        return shape;
    };
    const zef_test::Shape sphere = zef_test::icosphere(2);
    zef_test::Shape cup{sphere.vertices, {}};  // without a sixth of it: nearly closed
    for (std::size_t i = 0; i < sphere.triples.size(); i += 3)
        if (sphere.vertices[sphere.triples[i]].pz < 0.7)
            cup.triples.insert(cup.triples.end(), sphere.triples.begin() + static_cast<std::ptrdiff_t>(i),
                               sphere.triples.begin() + static_cast<std::ptrdiff_t>(i + 3));
    const zef_test::Shape sheet = zef_test::gridSheet(4, 4);
    for (const bool bTurned : {false, true}) {
        TriangleMesh mesh;
        std::size_t numTurned = 0;
        double x = 1e6;
        for (const zef_test::Shape& shape : {sphere, cup, sheet}) {
            append(mesh, bTurned ? turned(shape) : shape, {x += 100.0, 0, 0});
            numTurned += bTurned ? shape.triples.size() / 3 : 0;
        }
        const ManifoldReport report = repair(mesh);
        EXPECT_EQ(report.numReversedTriangles, numTurned);
        EXPECT_EQ(report.numClosedComponents, 1u);
    }
}
