// Real files, in the folders scans, meshes and stl of the folder that the
// environment variable ZEF_TEST_DATA names.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "io/loadCloud.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
namespace fs = std::filesystem;

namespace {

std::string bytesOfFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The count that a PLY header claims; 0 without such an element.
std::size_t claimedCount(const std::string& bytes, const std::string& element) {
    std::istringstream header(bytes.substr(0, bytes.find("end_header")));
    std::string line;
    while (std::getline(header, line))
        if (line.rfind("element " + element + " ", 0) == 0) return std::stoul(line.substr(element.size() + 9));
    return 0;
}

std::size_t occurrences(const std::string& bytes, const std::string& word) {
    std::size_t num = 0;
    for (std::size_t at = bytes.find(word); at != std::string::npos; at = bytes.find(word, at + word.size())) ++num;
    return num;
}

void checkPly(const std::string& name, const std::string& bytes, const CloudFile& cloud) {
    std::vector<Point3> vPoints, vCorners;
    EXPECT_TRUE(readPly(name.c_str(), true, vPoints));
    EXPECT_EQ(vPoints.size(), claimedCount(bytes, "vertex"));
    EXPECT_TRUE(vPoints == cloud.vPoints);
    EXPECT_EQ(cloud.vTriangles.size(), claimedCount(bytes, "face"));
    EXPECT_EQ(cloud.numUnusedVertices, 0u);
    EXPECT_EQ(cloud.bHasColor, bytes.find("property uchar red") < bytes.find("end_header"));
    if (cloud.vTriangles.empty()) return;
    EXPECT_TRUE(readPly(name.c_str(), false, vCorners));
    ASSERT_EQ(vCorners.size(), 3 * cloud.vTriangles.size());
    EXPECT_EQ(vCorners.back(), cloud.vPoints[cloud.vTriangles.back()[2]]);
}

void checkText(const std::string& name, const std::string& bytes, const CloudFile& cloud) {
    std::vector<Point3> vPoints;
    EXPECT_TRUE(readPoints_ASCII(name.c_str(), vPoints));
    EXPECT_EQ(vPoints.size(), occurrences(bytes, "\n"));
    EXPECT_TRUE(vPoints == cloud.vPoints);
}

void checkStl(const std::string& name, const std::string& bytes, const CloudFile& cloud) {
    std::vector<Point3> vCorners;
    EXPECT_TRUE(readSTL_ASCII(name.c_str(), vCorners));
    EXPECT_EQ(vCorners.size(), 3 * occurrences(bytes, "endfacet"));
    EXPECT_TRUE(vCorners == cloud.vPoints);
    EXPECT_EQ(cloud.kind, CloudFile::Kind::CORNERS);
}

}  // namespace

TEST(sampleFiles, areReadInFull) {
    const char* pFolder = std::getenv("ZEF_TEST_DATA");
    if (!pFolder) GTEST_SKIP() << "ZEF_TEST_DATA is not set";
    std::size_t numFiles = 0;
    for (const char* sub : {"scans", "meshes", "stl"}) {
        for (const auto& entry : fs::directory_iterator(fs::path(pFolder) / sub)) {
            const std::string name = entry.path().string();
            SCOPED_TRACE(name);
            CloudFile cloud;
            ASSERT_TRUE(loadCloud(name, cloud)) << cloud.error;
            EXPECT_EQ(cloud.numSkippedLines, 0u);
            EXPECT_TRUE(std::all_of(cloud.vPoints.begin(), cloud.vPoints.end(),
                                    [](const Point3& p) { return std::isfinite(p.px + p.py + p.pz); }));
            const std::string bytes = bytesOfFile(entry.path());
            if (name.ends_with(".ply")) checkPly(name, bytes, cloud);
            if (name.ends_with(".xyz")) checkText(name, bytes, cloud);
            if (name.ends_with(".stl")) checkStl(name, bytes, cloud);
            ++numFiles;
        }
    }
    EXPECT_GT(numFiles, 0u);
}
