// Files that lie: each must give false and a message, or what it holds, and
// never cost more memory than readers may take.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <random>

#include "bytes/FileBytes.h"
#include "io/loadCloud.h"
#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using zef_test::bytesOf;
using zef_test::plyFile;
using zef_test::TempFolder;

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

const std::string xyz = "property float x\nproperty float y\nproperty float z\n";

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
    const std::string vertex = "element vertex 1\n" + xyz;
    const std::string face = vertex + "element face 1\nproperty list uint int vertex_indices\n";
    const std::string signedFace = vertex + "element face 1\nproperty list char int vertex_indices\n";
    const std::string point = bytesOf(1.f, 2.f, 3.f);
    const std::string little = "binary_little_endian", big = "binary_big_endian";
    return {{"empty", ""},
            {"only the first word", "ply"},
            {"cut inside the header", "ply\nformat ascii 1.0\nelement vertex 5\nproperty flo"},
            {"no end of header", "ply\nformat ascii 1.0\n" + vertex},
            {"no elements", plyFile("ascii", "", "1 2 3\n")},
            {"no vertices", plyFile("ascii", "element point 1\n" + xyz, "1 2 3\n")},
            {"no z", plyFile("ascii", "element vertex 1\nproperty float x\nproperty float y\n", "1 2\n")},
            {"property first", plyFile("ascii", xyz, "1 2 3\n")},
            {"unknown type", plyFile("ascii", "element vertex 1\nproperty quad x\n", "1\n")},
            {"list of floats as count", plyFile("ascii", "element vertex 1\nproperty list float int x\n", "1 1\n")},
            {"x is a list",
             plyFile("ascii", "element vertex 1\nproperty list int float x\nproperty float y\nproperty float z\n",
                     "1 1 2 3")},
            {"no count", plyFile("ascii", "element vertex\n" + xyz, "1 2 3\n")},
            {"negative count", plyFile("ascii", "element vertex -1\n" + xyz, "1 2 3\n")},
            {"count beyond 64 bits", plyFile("ascii", "element vertex 99999999999999999999999\n" + xyz, "1 2 3\n")},
            {"text shorter than its count", plyFile("ascii", "element vertex 2\n" + xyz, "1 2 3\n4 5\n")},
            {"text with a giant count", plyFile("ascii", "element vertex 18446744073709551615\n" + xyz, "1 2 3\n")},
            {"words for numbers", plyFile("ascii", vertex, "one two three\n")},
            {"binary shorter than its count", plyFile(little, "element vertex 2\n" + xyz, point)},
            {"binary with a giant count", plyFile(little, "element vertex 1537228672809129302\n" + xyz, point)},
            {"big-endian with a giant count", plyFile(big, "element vertex 18446744073709551615\n" + xyz, point)},
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
        CloudFile cloud;
        EXPECT_LT(peakOf([&] { EXPECT_FALSE(loadCloud(name, cloud)) << broken.what; }), limit) << broken.what;
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

// A valid file of each kind, cut at every length and hit at random: no crash,
// and nothing but points that are there.
TEST(hostileFiles, damagedFilesNeverDoHarm) {
    const TempFolder folder;
    const std::string head = "element vertex 3\n" + xyz + "element face 1\nproperty list uchar int vertex_indices\n";
    const std::string body =
        bytesOf(0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f) + bytesOf(std::uint8_t{3}) + bytesOf(0, 1, 2);
    std::string stl(80, ' ');
    stl += bytesOf(1u) + std::string(50, '\1');
    const std::vector<std::pair<std::string, std::string>> files = {
        {"a.ply", plyFile("binary_little_endian", head, body)},
        {"b.ply", plyFile("binary_big_endian", head, body)},
        {"c.ply", plyFile("ascii", head, "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n")},
        {"d.stl", stl},
        {"e.stl",
         "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n"},
        {"f.obj", "v 0 0 0 1 1 1\nv 1 0 0\nv 0 1 0\nf 1/1 2/2 -1\n"},
        {"g.off", "COFF\n3 1 0\n0 0 0 1 1 1\n1 0 0\n0 1 0\n3 0 1 2\n"},
        {"h.csv", "x,y,z,r,g,b\n1,2,3,4,5,6\n7,8,9,10,11,12\n"},
        {"i.bin", bytesOf(std::int32_t{30}) + bytesOf(std::int64_t{2}) + bytesOf(1.0, 2.0, 3.0, 4.0, 5.0, 6.0)}};
    std::mt19937 random(3);
    testing::internal::CaptureStderr();
    const zef_test::CaptureCout silent;
    for (const auto& [file, whole] : files) {
        for (int round = 0; round < 400; ++round) {
            std::string bytes = whole.substr(0, round % 2 ? whole.size() : random() % whole.size());
            for (auto hits = random() % 3; hits > 0 && !bytes.empty(); --hits)
                bytes[random() % bytes.size()] = static_cast<char>(random());
            std::string name = folder.put(file, bytes);
            CloudFile cloud;
            if (loadCloud(name, cloud)) {
                for (const auto& triangle : cloud.vTriangles)
                    for (const std::uint32_t index : triangle) ASSERT_LT(index, cloud.vPoints.size());
            } else {
                ASSERT_FALSE(cloud.error.empty());
            }
            std::vector<Point3> vPoints;
            readPly(name.c_str(), false, vPoints);
            readPoints_ASCII(name.c_str(), vPoints);
            readPoints_BIN(name.c_str(), vPoints);
            readSTL_ASCII(name.c_str(), vPoints);
            ASSERT_LT(vPoints.size(), memoryLimit(bytes.size()) / sizeof(Point3) + 4 * bytes.size());
        }
    }
    testing::internal::GetCapturedStderr();
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
        {"k.ply", plyFile("binary_little_endian", "element vertex 1\n" + xyz + list,
                          std::string(12, '\0') + rows("\3" + three))},
        {"l.ply",
         plyFile("ascii", "element vertex 1\n" + xyz + "element face 1\nproperty list int double vertex_indices\n",
                 "0 0 0\n" + count + rows(" 0"))},
        {"m.stl", "solid\n" + rows("outer loop\nvertex 0 0 0\nvertex 0 0 0\nvertex 0 0 0\nendloop\n")},
        {"n.stl", "outer loop\n" + rows("vertex\n")}};
    for (const auto& entry : files) {
        const auto& file = entry.first;
        const auto& bytes = entry.second;
        std::string name = folder.put(file, bytes);
        const std::size_t limit = memoryLimit(bytes.size()) - bytes.size();
        EXPECT_LE(peakOf([&] {
                      CloudFile cloud;
                      loadCloud(name, cloud);
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
