// Files that lie: each must give false and a message, or what it holds, and
// never cost more memory than readers may take.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <functional>
#include <new>
#include <random>
#include <sstream>

#include "bytes/FileBytes.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/loadedFile.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::TempFolder;
using zef_test::xyzLines;

namespace {

std::size_t numLive = 0, numPeak = 0;  // on one thread

void* counted(std::size_t numBytes) {
    // What is asked for counts, so that a giant request does not pass by failing.
    numPeak = std::max(numPeak, numLive + numBytes);
    void* p = std::malloc(std::max<std::size_t>(numBytes, 1));
    if (!p) throw std::bad_alloc();
    numLive += ::malloc_usable_size(p);
    return p;
}

void uncounted(void* p) noexcept {
    if (p) numLive -= ::malloc_usable_size(p);
    std::free(p);
}

}  // namespace

void* operator new(std::size_t numBytes) {
    return counted(numBytes);
}
void* operator new[](std::size_t numBytes) {
    return counted(numBytes);
}
void operator delete(void* p) noexcept {
    uncounted(p);
}
void operator delete[](void* p) noexcept {
    uncounted(p);
}
void operator delete(void* p, std::size_t) noexcept {
    uncounted(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    uncounted(p);
}

namespace {

// Bytes that fn allocates at its peak; the file itself lies outside of new.
std::size_t peakOf(const std::function<void()>& fn) {
    const std::size_t before = numLive;
    numPeak = before;
    fn();
    return numPeak - before;
}

struct Case {
    const char* what;
    std::string bytes;
};

std::string garbage(std::size_t num, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes;
    while (bytes.size() < num) bytes += static_cast<char>(random());
    return bytes;
}

std::vector<Case> brokenPlys() {
    const std::string vertex = "element vertex 1\n" + xyzLines;
    const std::string face = vertex + "element face 1\nproperty list uint int vertex_indices\n";
    const std::string signedFace = vertex + "element face 1\nproperty list char int vertex_indices\n";
    const std::string point = bytesOf(1.f, 2.f, 3.f);
    const std::string little = "binary_little_endian", big = "binary_big_endian";
    return {
        {"empty", ""},
        {"only the first word", "ply"},
        {"cut inside the header", "ply\nformat ascii 1.0\nelement vertex 5\nproperty flo"},
        {"no end of header", "ply\nformat ascii 1.0\n" + vertex},
        {"no elements", plyFile("ascii", "", "1 2 3\n")},
        {"no vertices", plyFile("ascii", "element point 1\n" + xyzLines, "1 2 3\n")},
        {"no z", plyFile("ascii", "element vertex 1\nproperty float x\nproperty float y\n", "1 2\n")},
        {"property first", plyFile("ascii", xyzLines, "1 2 3\n")},
        {"unknown type", plyFile("ascii", "element vertex 1\nproperty quad x\n", "1\n")},
        {"list of floats as count", plyFile("ascii", "element vertex 1\nproperty list float int x\n", "1 1\n")},
        {"x is a list",
         plyFile("ascii", "element vertex 1\nproperty list int float x\nproperty float y\nproperty float z\n",
                 "1 1 2 3")},
        {"no count", plyFile("ascii", "element vertex\n" + xyzLines, "1 2 3\n")},
        {"negative count", plyFile("ascii", "element vertex -1\n" + xyzLines, "1 2 3\n")},
        {"count beyond 64 bits", plyFile("ascii", "element vertex 99999999999999999999999\n" + xyzLines, "1 2 3\n")},
        {"text shorter than its count", plyFile("ascii", "element vertex 2\n" + xyzLines, "1 2 3\n4 5\n")},
        {"text with a giant count", plyFile("ascii", "element vertex 18446744073709551615\n" + xyzLines, "1 2 3\n")},
        {"words for numbers", plyFile("ascii", vertex, "one two three\n")},
        {"binary shorter than its count", plyFile(little, "element vertex 2\n" + xyzLines, point)},
        {"binary with a giant count", plyFile(little, "element vertex 1537228672809129302\n" + xyzLines, point)},
        {"big-endian with a giant count", plyFile(big, "element vertex 18446744073709551615\n" + xyzLines, point)},
        {"giant count of another element",
         plyFile(little, "element a 4611686018427387904\nproperty int b\n" + vertex, point)},
        {"giant list", plyFile(little, face, point + bytesOf(0xffffffffu) + bytesOf(0, 0, 0))},
        {"giant list in text", plyFile("ascii", face, "1 2 3\n4294967295 0 0 0\n")},
        {"negative list", plyFile(little, signedFace, point + bytesOf(std::int8_t{-3}) + bytesOf(0, 0, 0))},
        {"negative list in text", plyFile("ascii", signedFace, "1 2 3\n-3 0 0 0\n")},
        {"list cut short", plyFile(little, face, point + bytesOf(3u) + bytesOf(0, 0))},
        {"index beyond the end", plyFile(little, face, point + bytesOf(3u) + bytesOf(0, 0, 1))},
        {"negative index", plyFile(little, face, point + bytesOf(3u) + bytesOf(0, 0, -1))},
        {"value that does not fit",
         plyFile("ascii", vertex + "property uchar red\nproperty uchar green\nproperty uchar blue\n",
                 "1 2 3 256 0 0\n")},
        {"giant line",
         "ply\nformat ascii 1.0\ncomment " + std::string(3'000'000, 'x') + "\n" + vertex + "end_header\n1 2 3\n"},
        {"giant line without end", "ply\n" + std::string(3'000'000, 'x')},
        {"many comments", "ply\n" +
                              [] {
                                  std::string text;
                                  while (text.size() < 1'000'000) text += "comment\n";
                                  return text;
                              }()},
        {"many elements", "ply\n" +
                              [] {
                                  std::string text;
                                  while (text.size() < 1'000'000) text += "element a 1\n";
                                  return text;
                              }()},
        {"garbage", garbage(100'000, 1)},
        {"garbage behind a first line", "ply\n" + garbage(100'000, 2)}};
}

}  // namespace

TEST(hostileFiles, brokenPlysGiveFalseAndAMessage) {
    const TempFolder folder;
    for (const Case& broken : brokenPlys()) {
        const std::string name = folder.put("a.ply", broken.bytes);
        const std::size_t limit = memoryLimit(broken.bytes.size()) - broken.bytes.size();
        zef_test::LoadedFile cloud;
        EXPECT_LT(peakOf([&] { EXPECT_FALSE(cloud.load(name)) << broken.what; }), limit) << broken.what;
        EXPECT_GT(cloud.error.size(), name.size() + 2) << broken.what;

        std::vector<Point3> vPoints;
        bool bRead = true;
        testing::internal::CaptureStderr();
        const std::string text = zef_test::printedText(
            [&] { EXPECT_LT(peakOf([&] { bRead = readPly(name.c_str(), false, vPoints); }), limit) << broken.what; });
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_FALSE(bRead) << broken.what;
        EXPECT_FALSE((text + err).empty()) << broken.what;
        EXPECT_TRUE(vPoints.empty()) << broken.what;
    }
}

namespace {

// All that readers give back, as numbers.
struct Results {
    const TempFolder& folder;
    std::vector<std::uint64_t> values;

    void add(const std::vector<Point3>& vPoints) {
        for (const Point3& p : vPoints) {
            for (const double x : {p.px, p.py, p.pz})
                values.push_back(x == x ? std::bit_cast<std::uint64_t>(x) : 1);  // nan has many patterns
            values.push_back(static_cast<std::uint64_t>(p.hasColor() ? p.r << 24 | p.g << 16 | p.b << 8 | p.a : 0));
        }
    }
    void add(std::string text) {
        const std::string name = folder.path.string();
        for (std::size_t at; (at = text.find(name)) != std::string::npos;) text.erase(at, name.size());
        values.insert(values.end(), text.begin(), text.end());
    }
    void add(const zef_test::LoadedFile& cloud) {
        add(cloud.points);
        for (const Vector3& v : cloud.normals) add(std::vector<Point3>{Point3() + v});
        values.insert(values.end(), cloud.indices.begin(), cloud.indices.end());
        for (const auto& texts : {cloud.comments, cloud.notes, {cloud.format, cloud.error}})
            for (const std::string& text : texts) add(text);
        values.insert(values.end(), {std::uint64_t(cloud.kind), cloud.hasColor, cloud.numHeaderLines, cloud.numPolygons,
                                     cloud.numSkippedLines, cloud.numDroppedFaces, cloud.numUnusedVertices});
    }
};

std::string coloredPly(const std::string& types, const std::string& row) {
    std::string header = "element vertex 1\n" + xyzLines;
    std::istringstream in(types);
    for (std::string type, name; in >> type >> name;)
        header.append("property ").append(type).append(" ").append(name).append("\n");
    return plyFile("ascii", header, "1 2 3 " + row + "\n");
}

// A file of each kind and of each way to tell things.
std::vector<std::pair<std::string, std::string>> validFiles() {
    const std::string head =
        "element vertex 3\n" + xyzLines + "element face 1\nproperty list uchar int vertex_indices\n";
    const std::string body =
        bytesOf(0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f) + bytesOf(std::uint8_t{3}) + bytesOf(0, 1, 2);
    const std::string facesFirst =
        "element face 1\nproperty list int uchar vertex_indices\nelement vertex 3\n" + xyzLines;
    const std::string ints = "element vertex 1\nproperty int x\nproperty int y\nproperty int z\n";
    const std::string corners = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n5 5 5\n";
    const std::string quads =
        "element vertex 5\n" + xyzLines + "element face 3\nproperty list uchar uint vertex_index\n";
    std::string stl(80, ' ');
    stl += bytesOf(1u) + std::string(50, '\1');
    return {{"a.ply", plyFile("binary_little_endian", head, body)},
            {"b.ply", plyFile("binary_big_endian", head, body)},
            {"c.ply", plyFile("ascii", "comment one\nobj_info two\n" + head, "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n")},
            {"d.ply", plyFile("ascii", ints, "-1 2 3\n")},
            {"e.ply", plyFile("binary_big_endian", ints, std::string("\0\0\0\1\0\0\1\0\xff\xff\xff\xfe", 12))},
            {"f.ply",
             plyFile("binary_little_endian", facesFirst,
                     bytesOf(3) + bytesOf(std::uint8_t{2}, std::uint8_t{1}, std::uint8_t{0}) + body.substr(0, 36))},
            {"g.ply", plyFile("ascii", quads, corners + "3 2 1 0\n4 0 1 2 3\n2 0 1\n")},
            {"h.ply", coloredPly("uchar red uchar green uchar blue int label", "10 20 30 7")},
            {"i.ply", coloredPly("uchar red uchar green uchar blue float scalar_Intensity", "10 20 30 77.9")},
            {"j.ply", coloredPly("uchar alpha uchar red uchar green uchar blue", "40 10 20 30")},
            {"k.ply", coloredPly("float red float green float blue uchar alpha", "1 0.5 0.1 2")},
            {"l.ply", coloredPly("double red double green double blue uchar alpha", "200 1.5 0 2")},
            {"m.ply", coloredPly("int red int green int blue int alpha", "257 -1 100 5")},
            {"n.ply", coloredPly("ushort red ushort green ushort blue", "65535 0 257")},
            {"o.ply", coloredPly("float red float green float blue uchar alpha", "nan inf -1e30 7")},
            {"p.ply",
             "ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty float x\r\nproperty double y\r\n"
             "property float z\r\nend_header\r\n1 0.1 3\r\n"},
            {"d.stl", stl},
            {"e.stl",
             "solid a\n vertex 7 7 7\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex +1 -5 6e1 rest\n"
             "vertex 0 .1 0\nendloop\nendfacet\nOUTER LOOP\nvertex 1 x 3\n"},
            {"f.stl",
             "SOLID a\nFACET NORMAL 0 0 1\nOUTER LOOP\nVERTEX 0 0 0\nVERTEX 1 0 0\nVERTEX 0 1 0.1\nENDLOOP\n"
             "ENDFACET\nENDSOLID\n"},
            {"f.obj",
             "# by hand\nf 1/1/1 2//2 3/3\nv 0 0 0 1 0.5 0\nv 1 0 0 0 0 0\nv 1 1 0 0 0 0\nvn 0 0 1\n"
             "v 0 1 0\nv 5 5 5\r\nf -5 -4 \\\n -3 -2 # quad\nf 1 2\n"},
            {"g.off", "COFF\n3 1 0\n0 0 0 1 1 1\n1 0 0\n0 1 0\n3 0 1 2\n"},
            {"h.off", "CNOFF 1 0 0\n1 2 3 0 0 1 10 20 30 40\n"},
            {"i.off", "OFF # kind\n3 1 0\n\n0 0 0\n1 0 0 # second\n0 1 0\n3 0 1 2 255 0 0\n"},
            {"h.csv", "x,y,z,r,g,b\n1,2,3,4,5,6\n7,8,9,10,11,12\n"},
            {"i.csv", "\"id\";\"X\";\"Y\";\"Z\";\"blue\";\"green\";\"red\"\n1;10;20;30;3;2;1\n"},
            {"j.txt", "//X Y Z Intensity\n1 2 3 4 5 6\n"},
            {"k.pts", "2\n1 2 3 -200 9 8 7\n4 5 6 100 6 5 4\n"},
            {"l.xyz", "1 2 3 255 0 7\n1\t2 3.5 0 0 0 rest\n\nrubbish\n4 nan 6\n+7 -8 .9e1\n"},
            {"i.bin", bytesOf(std::int32_t{30}) + bytesOf(std::int64_t{2}) + bytesOf(1.0, 2.0, 3.0, 4.0, 5.0, 6.0)},
            {"j.bin", bytesOf(std::int32_t{20}) + bytesOf(std::int64_t{2}) + bytesOf(1.0, 2.0, 3.0, 4.0)},
            {"q.ply", coloredPly("float nx float ny double nz", "0.6 0 -0.8")},
            {"m.xyz", "x y z nx ny nz\n1 2 3 0 0 1\n4 5 6 0.6 0.8 0\n"}};
}

}  // namespace

// Each file as it is, cut at any length and hit at random: no crash, nothing but
// points that are there, and the recorded results and texts.
TEST(hostileFiles, damagedFilesNeverDoHarm) {
    const TempFolder folder;
    std::mt19937 random(3);
    std::vector<std::uint64_t> vDigests;
    for (const auto& [file, whole] : validFiles()) {
        Results results{folder, {}};
        for (int round = 0; round < 200; ++round) {
            std::string bytes = whole.substr(0, round % 2 == 0 ? whole.size() : random() % whole.size());
            for (auto hits = round == 0 ? 0 : random() % 3; hits > 0 && !bytes.empty(); --hits) {
                const std::size_t at = random() % bytes.size();
                bytes[at] = static_cast<char>(random());
            }
            std::string name = folder.put(file, bytes);
            std::vector<Point3> vPoints;
            testing::internal::CaptureStderr();
            results.add(zef_test::printedText([&] {
                zef_test::LoadedFile cloud;
                if (cloud.load(name)) {
                    for (const std::uint32_t index : cloud.indices) ASSERT_LT(index, cloud.points.size());
                } else {
                    ASSERT_FALSE(cloud.error.empty());
                }
                ASSERT_TRUE(cloud.normals.empty() || cloud.normals.size() == cloud.points.size());
                results.add(cloud);
                for (const bool bPointsOnly : {true, false}) readPly(name.c_str(), bPointsOnly, vPoints);
                readPoints_ASCII(name.c_str(), vPoints);
                readPoints_BIN(name.c_str(), vPoints);
                readSTL_ASCII(name.c_str(), vPoints);
            }));
            results.add(testing::internal::GetCapturedStderr());
            results.add(vPoints);
            ASSERT_LT(vPoints.size(), memoryLimit(bytes.size()) / sizeof(Point3) + 4 * bytes.size());
        }
        vDigests.push_back(zef_test::digest(results.values));
    }
    EXPECT_EQ(vDigests, (std::vector<std::uint64_t>{
                            0x5084a692af19b272u, 0xd4b94a71ed4582a9u, 0x1f5ea4caf31fd7e9u, 0xa84eff4109f24fcu,
                            0xd9901aa79b447272u, 0x2d0a3e2828537db3u, 0xe7ad1f2dfb2bf80fu, 0xe2012da3212ecb5du,
                            0xecdd4fb6a2bb432u,  0x624ab525f9d041bau, 0xc6c8c538572c84ecu, 0xeb7e106b61375574u,
                            0x96000baba4b68f1du, 0x3c79fb2f8deb8484u, 0xb0516d1bcf49a48au, 0xdedd4573e49573c0u,
                            0x72673e19953a455du, 0x3d77ea375d28a49du, 0x9170649cfd28a1e7u, 0xcb593e792a0368a6u,
                            0x6149c3ccb664e23eu, 0x9ca7f49c87f89e6fu, 0xb72daae8dd19ea38u, 0x3b84a9793ba463b5u,
                            0xacacd5dba6b2e5d2u, 0x986364b544baa754u, 0xad088d9e6ff336b0u, 0xcf94581e1bb596eu,
                            0x3b35de8ebb898f20u, 0xacf8149edddb5dcfu, 0x8552807315637e7u,  0x8e2d05ea75109cd8u}));
}

// The tersest files there are of each format cost the most memory a byte.
TEST(hostileFiles, terseFilesStayWithinTheirMemory) {
    const TempFolder folder;
    constexpr std::size_t numRows = 270'000;
    const auto rows = [](const std::string& row) {
        std::string text;
        text.reserve(row.size() * numRows);
        for (std::size_t i = 0; i < numRows; ++i) text += row;
        return text;
    };
    const std::string count = std::to_string(numRows);
    const auto vertices = [&](const std::string& type) {
        return "element vertex " + count + "\nproperty " + type + " x\nproperty " + type + " y\nproperty " + type +
               " z\n";
    };
    const std::string mixed = "element vertex " + count + "\nproperty uchar x\nproperty char y\nproperty uchar z\n";
    const std::string normals = "property uchar nx\nproperty char ny\nproperty uchar nz\n";
    const std::string three(3, '\0'), list = "element face " + count + "\nproperty list uchar uchar vertex_indices\n";
    const std::vector<std::pair<std::string, std::string>> files = {
        {"a.xyz", rows("0 0 0\n")},
        {"b.xyz", rows("0 0 0 9 9 9\n")},
        {"c.csv", rows("\n") + "0 0 0"},
        {"d.obj", rows("v 0 0 0\n")},
        {"e.obj", "v 0 0 0\nf" + rows(" 1")},
        {"f.off", "OFF\n" + count + " 0 0\n" + rows("0 0 0\n")},
        {"g.off", "OFF\n1 1 0\n0 0 0\n" + count + rows(" 0")},
        {"h.ply", plyFile("ascii", vertices("double"), rows("0 0 0 "))},
        {"i.ply", plyFile("binary_big_endian", vertices("uchar"), rows(three))},
        {"j.ply", plyFile("binary_little_endian", vertices("uchar"), rows(three))},
        {"j2.ply", plyFile("binary_big_endian", mixed + normals, rows("\1\1\1\1\1\1"))},
        {"j3.ply", plyFile("binary_little_endian", mixed, rows(three))},
        {"j4.txt", "x y z nx ny nz\n1 1 1 1 1 1\n" + rows("0 0 0\n")},
        {"k.ply", plyFile("binary_little_endian", "element vertex 1\n" + xyzLines + list,
                          std::string(12, '\0') + rows("\3" + three))},
        {"l.ply",
         plyFile("ascii", "element vertex 1\n" + xyzLines + "element face 1\nproperty list int double vertex_indices\n",
                 "0 0 0\n" + count + rows(" 0"))},
        {"m.stl", "solid\n" + rows("outer loop\nvertex 0 0 0\nvertex 0 0 0\nvertex 0 0 0\nendloop\n")},
        {"n.stl", "outer loop\n" + rows("vertex\n")}};
    for (const auto& entry : files) {
        const auto& file = entry.first;
        const auto& bytes = entry.second;
        std::string name = folder.put(file, bytes);
        const std::size_t limit = memoryLimit(bytes.size()) - bytes.size();
        EXPECT_LE(peakOf([&] {
                      zef_test::LoadedFile cloud;
                      cloud.load(name);
                  }),
                  limit)
            << file;
        testing::internal::CaptureStderr();
        for (const auto& reader : {readPoints_ASCII, readPoints_BIN, readSTL_ASCII}) {
            std::vector<Point3> vPoints;
            zef_test::printedText([&] { EXPECT_LE(peakOf([&] { reader(name.c_str(), vPoints); }), limit) << file; });
        }
        for (const bool bPointsOnly : {true, false}) {
            std::vector<Point3> vPoints;
            zef_test::printedText(
                [&] { EXPECT_LE(peakOf([&] { readPly(name.c_str(), bPointsOnly, vPoints); }), limit) << file; });
        }
        testing::internal::GetCapturedStderr();
    }
}
