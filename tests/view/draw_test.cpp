#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "view/Camera.h"
#include "view/Canvas.h"
#include "zef/view.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

TriangleMesh meshOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

DrawOptions small(ViewFrom from, bool bBorders = false) {
    DrawOptions options;
    options.width = options.height = 200;
    options.from = from;
    options.borders = bBorders;
    options.finer = 1;
    return options;
}

std::vector<std::uint8_t> pixel(const Image& image, std::uint32_t column, std::uint32_t row) {
    const auto p = image.rgba.begin() + std::ptrdiff_t{4} * (row * image.width + column);
    return {p, p + 4};
}

// Whether something was drawn at each pixel.
std::vector<bool> covered(const Image& image, const DrawOptions& options) {
    const Image sky = draw({}, options);
    std::vector<bool> vCovered(std::size_t{image.width} * image.height);
    for (std::uint32_t i = 0; i < vCovered.size(); ++i)
        vCovered[i] = pixel(image, i % image.width, i / image.width) != pixel(sky, i % image.width, i / image.width);
    return vCovered;
}

TriangleMesh sheetAt(double z, std::uint8_t red, std::uint8_t blue) {
    TriangleMesh mesh = meshOf(gridSheet(3, 3));
    for (Point3& p : mesh.vertices) p = Point3(p.px, p.py, z, red, 0, blue, 255);
    return mesh;
}

}  // namespace

TEST(Draw, silhouetteOfASphereHasItsArea) {
    const TriangleMesh ball = meshOf(icosphere(5, 3.0));
    const DrawOptions options = small(ViewFrom::ISO);
    const std::vector<bool> vCovered = covered(draw({{&ball}, {}}, options), options);
    const double radius = 92.0;  // 4 % of the picture stay free on each side
    EXPECT_NEAR(double(std::count(vCovered.begin(), vCovered.end(), true)), M_PI * radius * radius, 80.0);
}

TEST(Draw, nearerHidesFartherWhateverTheOrder) {
    const TriangleMesh red = sheetAt(0.0, 255, 0), blue = sheetAt(1.0, 0, 255);
    for (const ViewScene& scene : {ViewScene{{&red, &blue}, {}}, ViewScene{{&blue, &red}, {}}}) {
        const auto top = pixel(draw(scene, small(ViewFrom::TOP)), 100, 100);
        EXPECT_LT(top[0], top[2]);
        const auto bottom = pixel(draw(scene, small(ViewFrom::BOTTOM)), 100, 100);
        EXPECT_GT(bottom[0], bottom[2]);
    }
}

TEST(Draw, sidesOfATriangleLookDifferent) {
    const TriangleMesh sheet = meshOf(gridSheet(3, 3));
    const auto front = pixel(draw({{&sheet}, {}}, small(ViewFrom::TOP)), 100, 100);
    const auto back = pixel(draw({{&sheet}, {}}, small(ViewFrom::BOTTOM)), 100, 100);
    EXPECT_LT(front[0], front[2]);
    EXPECT_GT(back[0], back[2]);
}

TEST(Draw, neighboursLeaveNoGap) {
    // Its diagonals run through the middles of pixels.
    const TriangleMesh sheet = meshOf(gridSheet(5, 5));
    const DrawOptions options = small(ViewFrom::TOP);
    const std::vector<bool> vCovered = covered(draw({{&sheet}, {}}, options), options);
    for (auto row = vCovered.begin(); row != vCovered.end(); row += 200) {
        const auto first = std::find(row, row + 200, true);
        const auto gap = std::find(first, row + 200, false);
        EXPECT_EQ(std::find(gap, row + 200, true), row + 200);
    }
}

TEST(Draw, bordersShowWhereThereAreSome) {
    const TriangleMesh ball = meshOf(icosphere(2)), sheet = meshOf(gridSheet(4, 4));
    const auto pictures = [](const TriangleMesh& mesh) {
        return draw({{&mesh}, {}}, small(ViewFrom::TOP, true)).rgba ==
               draw({{&mesh}, {}}, small(ViewFrom::TOP, false)).rgba;
    };
    EXPECT_TRUE(pictures(ball));
    EXPECT_FALSE(pictures(sheet));
}

TEST(Draw, sameBytesForAnyThreads) {
    const TriangleMesh tube = meshOf(openCylinder(300, 100, 1.0, 2.0));
    std::vector<Point3> vPoints = icosphere(4, 1.3).vertices;
    vPoints.emplace_back(std::numeric_limits<double>::quiet_NaN(), 0, 0);
    const Image one = draw({{&tube}, vPoints}, {}, {.threads = 1});
    EXPECT_EQ(one.rgba, draw({{&tube}, vPoints}, {}, {.threads = 4}).rgba);
}

TEST(Png, readsBackAsTheImage) {
    const TriangleMesh ball = meshOf(icosphere(2));
    const Image image = draw({{&ball}, {}}, small(ViewFrom::ISO));
    const TempFolder folder;
    const std::string path = folder.name("ball.png");
    writePng(path, image);
    const std::string bytes = folder.get("ball.png");
    const std::size_t start = bytes.find("IDAT") + 4, size = bytes.find("IEND") - 8 - start;
    std::vector<std::uint8_t> vRows(200 * 601);
    uLongf numBytes = vRows.size();
    ASSERT_EQ(uncompress(vRows.data(), &numBytes, reinterpret_cast<const Bytef*>(bytes.data()) + start, size), Z_OK);
    ASSERT_EQ(numBytes, vRows.size());
    for (std::size_t i = 601; i < vRows.size(); ++i)
        if (i % 601 != 0) vRows[i] = static_cast<std::uint8_t>(vRows[i] + vRows[i - 601]);
    for (std::uint32_t i = 0; i < 200 * 200; ++i) {
        const std::uint8_t* const p = vRows.data() + std::size_t{601} * (i / 200) + 1 + 3 * (i % 200);
        EXPECT_EQ(pixel(image, i % 200, i / 200), (std::vector<std::uint8_t>{p[0], p[1], p[2], 255}));
    }
}

TEST(Camera, standsOnAnAxisAndOppositeToItsTwin) {
    for (const bool bYUp : {false, true}) {
        const Vector3 worldUp = bYUp ? Vector3(0, 1, 0) : Vector3(0, 0, 1);
        for (const ViewFrom from : {ViewFrom::ISO, ViewFrom::FRONT, ViewFrom::BACK, ViewFrom::LEFT, ViewFrom::RIGHT,
                                    ViewFrom::TOP, ViewFrom::BOTTOM}) {
            const Camera camera = cameraOf(from, bYUp);
            EXPECT_LT((cross(camera.right, camera.up) - camera.back).length(), 1e-12);
            EXPECT_NEAR(camera.right.length() * camera.up.length(), 1.0, 1e-12);
            EXPECT_EQ(camera.up * worldUp > 0.5, from != ViewFrom::TOP && from != ViewFrom::BOTTOM);
        }
        const auto back = [&](ViewFrom from) { return cameraOf(from, bYUp).back; };
        EXPECT_EQ((back(ViewFrom::TOP) - worldUp).length(), 0.0);
        EXPECT_EQ((back(ViewFrom::RIGHT) - Vector3(1, 0, 0)).length(), 0.0);
        EXPECT_EQ((back(ViewFrom::FRONT) - cross(Vector3(1, 0, 0), worldUp)).length(), 0.0);
        for (const auto& [from, to] :
             {std::pair(ViewFrom::TOP, ViewFrom::BOTTOM), std::pair(ViewFrom::RIGHT, ViewFrom::LEFT),
              std::pair(ViewFrom::FRONT, ViewFrom::BACK)})
            EXPECT_EQ((back(from) + back(to)).length(), 0.0);
    }
}

// Brute force: one after the other, so that none is passed over. Some lie at the same place as others.
TEST(Draw, whatLiesBehindNeedNotBeLookedAt) {
    TriangleMesh soup;
    Rand15 rand(7);
    for (std::uint32_t i = 0; i < 6000; ++i) {
        const int x = rand.next(), y = rand.next(), z = rand.next();
        soup.vertices.emplace_back(x, y, z);
        soup.indices.push_back(i);
    }
    const std::vector<std::uint32_t> vAgain(soup.indices.begin() + 300, soup.indices.begin() + 1200);
    soup.indices.insert(soup.indices.end(), vAgain.begin(), vAgain.end());
    const ViewScene scene{{&soup}, {}};
    const Model model(scene, small(ViewFrom::ISO, true));
    std::vector<std::uint32_t> vNumbers(model.numAll);
    std::iota(vNumbers.begin(), vNumbers.end(), 0);
    Canvas canvas(197, 61), slow(197, 61);
    for (Canvas* const pCanvas : {&canvas, &slow}) pCanvas->start(70);
    canvas.draw(model, vNumbers);
    for (const std::uint32_t number : vNumbers) slow.draw(model, {&number, 1});
    for (std::int32_t row = 70; row < 131; ++row) {
        for (std::int32_t column = 0; column < 197; ++column) {
            ASSERT_EQ(canvas.numberAt(column, row), slow.numberAt(column, row)) << column << ' ' << row;
            ASSERT_EQ(canvas.depthAt(column, row), slow.depthAt(column, row)) << column << ' ' << row;
        }
    }
}
