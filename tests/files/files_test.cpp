#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <tuple>
#include <utility>

#include "files/PointCollector.h"
#include "frame/Rand15.h"
#include "support/plyText.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/files.h"

using namespace QUOR_ZEF;
using zef_test::TempFolder;

namespace {

using Cell = std::tuple<double, double, double>;

PointBlock drawnBlock(Rand15& draws, std::size_t num) {
    const auto draw = [&](double range) { return (draws.next() / 32768.0 - 0.5) * range; };
    PointBlock block;
    for (std::size_t i = 0; i < num; ++i) {
        block.points.emplace_back(500.0 + draw(9), -3.0 + draw(9), draw(2));
        if (i % 3 != 0) block.points.back().setColor(static_cast<std::uint8_t>(draws.next()), 7, 0, 255);
        block.classes.push_back(static_cast<std::uint8_t>(draws.next() % 5));
        block.intensities.push_back(static_cast<float>(draws.next()));
    }
    return block;
}

PointFile collected(const ReadOptions& options, const PointBlock& all, std::size_t blockSize) {
    PointCollector collector(options);
    for (std::size_t at = 0; at < all.points.size(); at += blockSize) {
        const auto part = [&](const auto& v) {
            const auto some = std::span(v).subspan(at, std::min(blockSize, v.size() - at));
            return std::vector(some.begin(), some.end());
        };
        PointBlock block;
        block.points = part(all.points);
        block.classes = part(all.classes);
        block.intensities = part(all.intensities);
        collector.add(block);
    }
    PointFile out;
    collector.finish(out);
    return out;
}

std::string faultOf(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST(PointCollector, choosesLikeOnePointAfterTheOther) {
    Rand15 draws;
    const PointBlock all = drawnBlock(draws, 1000);
    ReadOptions options;
    options.keepClasses = {1, 2, 3};
    options.dropClasses = {2};
    options.box = {Point3(497, -9, -1), Point3(502, -1, 0.5)};
    options.every = 3;
    std::vector<std::size_t> vWanted;
    std::size_t numLeft = 0;
    for (std::size_t i = 0; i < all.points.size(); ++i) {
        const Point3& p = all.points[i];
        if (all.classes[i] != 1 && all.classes[i] != 3) continue;
        if (p.px < 497 || p.px > 502 || p.py < -9 || p.py > -1 || p.pz < -1 || p.pz > 0.5) continue;
        if (numLeft++ % 3 == 0) vWanted.push_back(i);
    }
    ASSERT_GT(vWanted.size(), 20u);
    for (const std::size_t blockSize : {1000u, 77u}) {
        const PointFile found = collected(options, all, blockSize);
        ASSERT_EQ(found.points.size(), vWanted.size());
        EXPECT_EQ(found.numNotTaken, 1000 - vWanted.size());
        for (std::size_t i = 0; i < vWanted.size(); ++i) {
            EXPECT_EQ(found.points[i], all.points[vWanted[i]]);
            EXPECT_EQ(found.classes[i], all.classes[vWanted[i]]);
            EXPECT_EQ(found.intensities[i], all.intensities[vWanted[i]]);
        }
    }
}

TEST(PointCollector, dropsClassesAlone) {
    Rand15 draws;
    const PointBlock all = drawnBlock(draws, 500);
    ReadOptions options;
    options.dropClasses = {1, 4};
    const PointFile found = collected(options, all, 77);
    const auto isKept = [](std::uint8_t number) { return number != 1 && number != 4; };
    EXPECT_EQ(found.points.size(), static_cast<std::size_t>(std::ranges::count_if(all.classes, isKept)));
    EXPECT_TRUE(std::ranges::all_of(found.classes, isKept));
}

// What only some points have is nothing that all have.
TEST(PointCollector, keepsOnlyWhatAllPointsHave) {
    Rand15 draws;
    const ReadOptions options;
    for (const std::size_t without : {0u, 1u, 2u}) {
        PointCollector collector(options);
        for (std::size_t i = 0; i < 3; ++i) {
            PointBlock block = drawnBlock(draws, 10);
            if (i == without) block.intensities.clear();
            collector.add(block);
        }
        PointFile out;
        collector.finish(out);
        EXPECT_EQ(out.points.size(), 30u);
        EXPECT_EQ(out.classes.size(), 30u);
        EXPECT_TRUE(out.intensities.empty()) << without;
    }
}

TEST(PointCollector, aGridTakesTheMeanOfEachCell) {
    Rand15 draws;
    PointBlock all = drawnBlock(draws, 2000);
    all.points[5].px = std::numeric_limits<double>::quiet_NaN();
    ReadOptions options;
    options.grid = 0.7;
    std::map<Cell, std::vector<std::size_t>> mCells;
    for (std::size_t i = 0; i < all.points.size(); ++i) {
        const Point3& p = all.points[i];
        if (i != 5) mCells[{std::floor(p.px / 0.7), std::floor(p.py / 0.7), std::floor(p.pz / 0.7)}].push_back(i);
    }
    const PointFile found = collected(options, all, 2000);
    ASSERT_EQ(found.points.size(), mCells.size());
    EXPECT_EQ(collected(options, all, 13).points, found.points);
    for (std::size_t i = 0; i < found.points.size(); ++i) {
        const Point3& p = found.points[i];
        const auto& vMembers = mCells.at({std::floor(p.px / 0.7), std::floor(p.py / 0.7), std::floor(p.pz / 0.7)});
        double x = 0.0, intensity = 0.0;
        for (const std::size_t k : vMembers) {
            x += all.points[k].px / static_cast<double>(vMembers.size());
            intensity += static_cast<double>(all.intensities[k]) / static_cast<double>(vMembers.size());
        }
        EXPECT_NEAR(p.px, x, 1e-9);
        EXPECT_NEAR(found.intensities[i], intensity, 0.01);
        EXPECT_EQ(found.classes[i], all.classes[vMembers.front()]);
        EXPECT_EQ(p.g, p.hasColor() ? 7 : 0);
    }
    options.grid = 1e-7;
    EXPECT_TRUE(contains(faultOf([&] { collected(options, all, 2000); }), "too fine"));
}

TEST(PointCollector, tellsWhereEachPointWasSeenFromUnlessItHasANormal) {
    for (const auto& [grid, bNormals] : {std::pair{0.0, false}, {0.5, false}, {0.0, true}, {0.5, true}}) {
        ReadOptions options;
        options.grid = grid;
        PointCollector collector(options);
        for (const double x : {-10.0, 10.0}) {
            PointBlock block;
            block.points = {{x / 5.0, 0, 0}, {x / 5.0, 1, 0}};
            if (bNormals) block.normals.assign(2, {0, 0, 1});
            block.viewpoint = Point3(x, 0, 0);
            collector.add(block);
        }
        PointFile found;
        collector.finish(found);
        ASSERT_EQ(found.normals.size(), 4u);
        EXPECT_TRUE(bNormals || !found.viewpoint);
        EXPECT_NEAR(found.normals[0].vx, bNormals ? 0.0 : -1.0, 1e-12);
        EXPECT_NEAR(found.normals[3].vx, bNormals ? 0.0 : 8.0 / std::sqrt(65.0), 1e-12);
    }
}

TEST(ReadPoints, goesByContentAndUnpacks) {
    const TempFolder folder;
    const std::string ply =
        "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
        "property float z\nend_header\n1 2 3\n";
    Context context;
    std::string heard;
    context.message = [&](Severity, std::string_view text) { heard += text; };
    EXPECT_EQ(readPoints(folder.put("a.xyz", ply), context).points.front(), Point3(1, 2, 3));
    EXPECT_TRUE(contains(heard, "The content is PLY"));
    // "1 2 3" and a line's end, by gzip.
    const std::string packed(
        "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x33\x54\x30\x52\x30\xe6\x02\x00\x4b\xa0\xf4\xc9\x06"
        "\x00\x00\x00",
        26);
    EXPECT_EQ(readPoints(folder.put("b.xyz.gz", packed)).points.front(), Point3(1, 2, 3));
    EXPECT_EQ(readPoints(folder.put("b.xyz.gz", packed + packed)).points.size(), 2u);
    for (std::size_t size = 3; size < packed.size(); ++size)
        EXPECT_TRUE(contains(faultOf([&] { readPoints(folder.put("b.xyz.gz", packed.substr(0, size))); }), "gzip"));
    EXPECT_TRUE(contains(faultOf([&] { readPoints(folder.put("a.zip", "PK")); }), "unknown ending"));
}

TEST(ReadPoints, takesColumnsByNameAndWhatStandsBeforeAFault) {
    const TempFolder folder;
    ReadOptions options;
    options.columns = "i,_,x,y,z,r,g,b";
    PointFile found = readPoints({folder.put("a.txt", "9 0 1 2 3 255 0 4\n8 0 4 5 6 1 2 3\n")}, options);
    EXPECT_EQ(found.points[1], Point3(4, 5, 6));
    EXPECT_EQ(found.points[0].b, 4);
    EXPECT_EQ(found.intensities, (std::vector<float>{9, 8}));
    options.columns = "a,b";
    EXPECT_TRUE(contains(faultOf([&] { readPoints({folder.name("a.txt")}, options); }), "x, y and z"));
    options = {};
    const std::string cut = folder.put("cut.txt", "1 2 3\n4 5 6\n1,2 3,4 5,6\n");
    EXPECT_TRUE(contains(faultOf([&] { readPoints({cut}, options); }), "line 3"));
    options.partial = true;
    found = readPoints({cut}, options);
    EXPECT_EQ(found.points.size(), 2u);
    EXPECT_TRUE(contains(found.notes.at(0), "line 3"));
}

TEST(ReadPoints, refusesALineWithoutEnd) {
    const TempFolder folder;
    ReadOptions thinned;
    thinned.every = 2;
    const std::string name = folder.put("a.xyz", "1 2 3\n" + std::string(std::size_t{5} << 20, '7') + "\n");
    EXPECT_TRUE(contains(faultOf([&] { readPoints({name}, thinned); }), "line 2: longer than 4 MiB"));
}

// Read a part at a time, as for files larger than memory, and whole.
TEST(ReadPoints, choosingAllGivesWhatIsReadAsAWhole) {
    const TempFolder folder;
    Rand15 draws;
    const auto number = [&] { return std::to_string(draws.next() % 900 / 8.0); };
    std::string lines, rows, unitLines;
    constexpr int num = 150'000;
    for (int i = 0; i < num; ++i) {
        const std::string color =
            i + 1 < num ? " 200 7 0" : " 60000 7000 900";  // the last one tells that it is 16 bits
        lines += (i % 5 ? "" : "# more\n\n") + number() + " " + number() + "\t" + number() + color + "\n";
        unitLines += number() + "," + number() + "," + number() + (i % 2 ? ",0,0,1\n" : ",0.6,0,0.8\n");
        rows += number() + " " + number() + " -7 0.25 0 " + (i + 1 < num ? "0.5" : "99") + " 1 0 0\n\n";
    }
    const std::string head =
        "element camera 2\nproperty float f\nelement vertex " + std::to_string(num) +
        "\nproperty float x\nproperty double y\nproperty short z\nproperty float red\nproperty "
        "float green\nproperty float blue\nproperty float nx\nproperty float ny\nproperty float nz\n";
    std::string binary = zef_test::bytesOf(1.f, 2.f);
    for (int i = 0; i < num; ++i)
        binary += zef_test::bytesOf(static_cast<float>(i), 0.5 * i, static_cast<std::int16_t>(i % 99), 0.25f, 0.f,
                                    i + 1 < num ? 0.5f : 99.f, 1.f, 0.f, 0.f);
    const std::string vNames[] = {folder.put("a.xyz", "x y z r g b\n" + lines),
                                  folder.put("b.xyz", lines),
                                  folder.put("c.csv", unitLines),
                                  folder.put("d.ply", zef_test::plyFile("ascii", head, "1\n2\n" + rows)),
                                  folder.put("e.ply", zef_test::plyFile("binary_little_endian", head, binary)),
                                  folder.put("f.ply", zef_test::plyFile("binary_big_endian", head, binary))};
    ReadOptions all;
    all.box = std::array<Point3, 2>{Point3(-1e300, -1e300, -1e300), Point3(1e300, 1e300, 1e300)};
    for (const std::string& name : vNames) {
        const PointFile whole = readPoints(name), parts = readPoints({name}, all);
        ASSERT_EQ(parts.points.size(), std::size_t{num}) << name;
        EXPECT_EQ(parts.points, whole.points) << name;
        EXPECT_TRUE(std::equal(parts.normals.begin(), parts.normals.end(), whole.normals.begin(), whole.normals.end(),
                               [](const Vector3& a, const Vector3& b) { return (a - b).length() == 0.0; }))
            << name;
        EXPECT_EQ(parts.points.front().r, whole.points.front().r) << name;
        EXPECT_EQ(parts.points.back().r, whole.points.back().r) << name;
        EXPECT_EQ(parts.hasColor, name.find("c.csv") == std::string::npos) << name;
    }
    EXPECT_EQ(readPoints(vNames[0]).points.front().r, 1);
    EXPECT_EQ(readPoints(vNames[2]).normals.size(), std::size_t{num});
    EXPECT_EQ(readPoints(vNames[3]).points.front().g, 0);
    EXPECT_EQ(readPoints(vNames[4]).points.back().b, 99);
}

TEST(ReadPoints, takesTheVerticesBeforeAFaultOfPly) {
    const TempFolder folder;
    const std::string head = "element vertex 3\n" + zef_test::xyzLines,
                      face = "element face 1\nproperty list uchar int vertex_indices\n";
    const std::string three = zef_test::bytesOf(1.f, 2.f, 3.f, 4.f, 5.f, 6.f, 7.f, 8.f, 9.f);
    const auto binary = [&](const std::string& more, const std::string& body) {
        return folder.put("a.ply", zef_test::plyFile("binary_little_endian", head + more, body));
    };
    ReadOptions options;
    options.partial = true;
    const auto taken = [&](const std::string& name) {
        EXPECT_TRUE(contains(faultOf([&] { readPoints(name); }), "a.ply: ")) << "taken without being told to";
        return readPoints({name}, options);
    };
    EXPECT_EQ(taken(binary("", three.substr(0, 30))).points, (std::vector<Point3>{{1, 2, 3}, {4, 5, 6}}));
    const PointFile faceless = taken(binary(face, three + zef_test::bytesOf(std::uint8_t{3}, 0)));
    EXPECT_EQ(faceless.points.size(), 3u);
    EXPECT_TRUE(contains(faceless.notes.at(0), "a list of 3 items")) << faceless.notes.at(0);
    EXPECT_EQ(taken(folder.put("a.ply", zef_test::plyFile("ascii", head, "1 2 3\n4 x 6\n7 8 9\n"))).points.size(), 1u);
    EXPECT_TRUE(contains(faultOf([&] { readPoints({binary("", "")}, options); }), "byte"));
    options.every = 2;
    const std::string joined = folder.put("a.ply", zef_test::plyFile("ascii", head, "1 2 3 4 5 6\n7 8 9\n"));
    EXPECT_TRUE(contains(faultOf([&] { options.partial = false, readPoints({joined}, options); }),
                         "line 10: 1 vertex is missing"));
}

TEST(ReadPoints, placesMayLieBeyondFourGigabytes) {
    const TempFolder folder;
    const std::string elements = "element filler 5000000000\nproperty uchar f\nelement vertex 2\n" + zef_test::xyzLines;
    const std::string name = folder.put("a.ply", zef_test::plyFile("binary_little_endian", elements, ""));
    std::filesystem::resize_file(name, std::filesystem::file_size(name) + 5'000'000'000);  // sparse
    std::ofstream(name, std::ios::binary | std::ios::app) << zef_test::bytesOf(1.f, 2.f, 3.f, 4.f, 5.f, 6.f);
    ReadOptions options;
    options.grid = 0.5;
    EXPECT_EQ(readPoints({name}, options).points, (std::vector<Point3>{{1, 2, 3}, {4, 5, 6}}));
}

TEST(ReadPoints, putsFilesTogether) {
    const TempFolder folder;
    const std::string normals = folder.put("n.xyz", "x y z nx ny nz\n0 0 0 0 0 1\n");
    const std::string plain = folder.put("p.xyz", "5 5 5\n");
    EXPECT_EQ(readPoints({normals, normals}, ReadOptions()).normals.size(), 2u);
    const PointFile mixed = readPoints({normals, plain}, ReadOptions());
    EXPECT_EQ(mixed.points, (std::vector<Point3>{{0, 0, 0}, {5, 5, 5}}));
    EXPECT_TRUE(mixed.normals.empty());
    EXPECT_TRUE(contains(faultOf([&] {
                             readPoints({plain, folder.name("missing.xyz")}, ReadOptions());
                         }),
                         "missing.xyz: "));
}

TEST(Write, keepsWhatTheFormatHolds) {
    const TempFolder folder;
    PointFile cloud;
    cloud.points = {{1000000.25, 2, 3}, {1000001.5, 5, 6}};
    cloud.points[0].setColor(1, 2, 3, 255);
    cloud.points[1].setColor(250, 2, 3, 255);
    cloud.normals = {{0, 0, 1}, {0.6, 0, 0.8}};
    cloud.classes = {2, 6};
    cloud.intensities = {10, 65535};
    WriteOptions options;
    options.normals = true;
    for (const std::string ending : {".ply", ".xyz", ".csv"}) {
        write(folder.name("a" + ending), cloud, options);
        const PointFile back = readPoints(folder.name("a" + ending));
        EXPECT_EQ(back.points, cloud.points) << ending;
        EXPECT_EQ(back.points[1].r, 250) << ending;
        ASSERT_EQ(back.normals.size(), 2u) << ending;
        EXPECT_NEAR(back.normals[1].vz, 0.8, 1e-7) << ending;
    }
    // Each holds one scan, scan 0.
    for (const std::string ending : {".pcd", ".las", ".ply", ".xyz", ".obj"}) {
        const std::string name = folder.name("b" + ending);
        if (ending == ".obj")
            folder.put("b.obj", "v 1000000.25 2 3\nv 1000001.5 5 6\nf 1 2 1\n");
        else
            write(name, cloud);
        ReadOptions one;
        one.scan = 0;
        EXPECT_EQ(readPoints({name}, one).points, cloud.points) << ending;
        one.scan = 1;
        EXPECT_TRUE(contains(faultOf([&] { readPoints({name}, one); }), " one")) << ending;
    }
    const PointFile las = readPoints(folder.name("b.las"));
    EXPECT_EQ(las.classes, cloud.classes);
    EXPECT_EQ(las.intensities, cloud.intensities);
    EXPECT_TRUE(contains(faultOf([&] { write(folder.name("a.jpg"), cloud); }), "known are"));
    EXPECT_TRUE(contains(faultOf([&] { write(folder.name("a.bin"), cloud, options); }), "normals"));
    cloud.classes.pop_back();
    EXPECT_TRUE(contains(faultOf([&] { write(folder.name("a.ply"), cloud); }), "one for each"));
}

TEST(Formats, doWhatTheyTell) {
    const TempFolder folder;
    const zef_test::Shape box = zef_test::box({-1, 0, 0.25}, {1, 8, 0.5});
    for (const FormatInfo& format : fileFormats()) {
        SCOPED_TRACE(format.name);
        const std::string name = folder.name("a" + format.endings.at(0));
        for (const std::string& ending : format.endings) {
            EXPECT_EQ(formatOf("a" + ending).readsPoints, format.readsPoints);
            EXPECT_EQ(formatOf("a" + ending).readsMeshes, format.readsMeshes);
        }
        EXPECT_TRUE(format.readsPoints);
        if (format.writesPoints) {
            write(name, box.vertices);
            EXPECT_EQ(readPoints(name).points, box.vertices);
        } else {
            EXPECT_THROW(write(name, box.vertices), ArgumentError);
        }
        if (format.writesMeshes) {
            write(name, TriangleMesh{box.vertices, box.triples});
            EXPECT_EQ(readMesh(name).numTriangles(), 12u);
        } else {
            EXPECT_THROW(write(name, TriangleMesh{box.vertices, box.triples}), ArgumentError);
            if (!format.writesPoints) folder.put("a" + format.endings[0], "?");
            EXPECT_TRUE(contains(faultOf([&] { readMesh(name); }), "known are"));
        }
    }
}
