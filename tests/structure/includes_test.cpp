// Reads every include line of the library and holds it against the layers.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Layer {
    int level;
    std::set<std::string> uses;  // folders above commonLevels that it may use
};

// Folders up to this level are open to all folders above them.
constexpr int commonLevels = 3;

const std::map<std::string, Layer> layers = {
    {"frame", {0, {}}},
    {"parallel", {1, {}}},
    {"geometry", {2, {}}},
    {"grid", {3, {}}},
    {"sampling", {4, {}}},
    {"field", {4, {}}},
    {"topology", {4, {}}},
    {"cloud", {5, {"sampling", "field"}}},
    {"polygon", {5, {"topology"}}},
    {"refine", {5, {"topology"}}},
    {"repair", {6, {"polygon", "topology"}}},
    {"io", {6, {"refine"}}},
    {"api", {7, {"sampling", "field", "topology", "cloud", "polygon", "refine", "repair", "io"}}},
};

const std::set<std::string> threadHeaders = {
    "thread", "mutex",      "future",  "atomic",    "condition_variable", "shared_mutex", "semaphore",
    "latch",  "stop_token", "barrier", "execution", "pthread.h",          "threads.h"};

// Public headers whose classes stand on the whole library.
const std::set<std::string> topHeaders = {"zef/Mesh.h", "zef/zef.h"};

std::string folderOf(const std::string& path) {
    const auto slash = path.find('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

// Takes the word off the front of text, with the blanks before it, if it is there.
bool takeWord(std::string& text, const std::string& word) {
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    if (!startsWith(text, word)) return false;
    text.erase(0, word.size());
    return true;
}

// What the line includes, with its opening bracket; empty if it is no include line.
std::string includedBy(std::string line) {
    if (!takeWord(line, "#") || !takeWord(line, "include")) return "";
    const std::string bracket = takeWord(line, "<") ? "<" : takeWord(line, "\"") ? "\"" : "";
    const auto end = line.find_first_of(">\"");
    return bracket.empty() || end == std::string::npos ? "" : bracket + line.substr(0, end);
}

bool mayKnowThreads(const std::string& file, const std::string& header) {
    if (folderOf(file) == "parallel" || startsWith(file, "frame/Progress.")) return true;
    return file == "frame/License.cpp" && header == "mutex";
}

std::string publicViolation(char bracket, const std::string& header) {
    if (startsWith(header, "zef/")) return "";
    if (threadHeaders.count(header)) return "a public header knows threads";
    if (bracket == '<' && header.find_first_of("/.") == std::string::npos) return "";
    return "a public header includes what is neither public nor of the standard library";
}

std::string libraryViolation(const std::string& file, char bracket, const std::string& header) {
    if (threadHeaders.count(header)) return mayKnowThreads(file, header) ? "" : "knows threads";
    if (topHeaders.count(header)) return folderOf(file) == "api" ? "" : "points to the top layer";
    const auto to = layers.find(folderOf(header));
    if (to == layers.end()) {
        const bool bFine = bracket == '<' || startsWith(header, "zef/");
        return bFine ? "" : "includes do not start at a folder of the library";
    }
    const auto from = layers.find(folderOf(file));
    if (from == layers.end()) return "lies in no known folder";
    if (from == to) return "";
    if (to->second.level >= from->second.level) return "points to a higher or sibling layer";
    const bool bOpen = to->second.level <= commonLevels || from->second.uses.count(to->first);
    return bOpen ? "" : "points to a folder that it does not stand on";
}

// Why the line must not stand in the file; empty if it may. file: its path from
// dev/src_lib on, such as "grid/Calc.h", or "zef/..." for a public header.
std::string violation(const std::string& file, const std::string& line) {
    const std::string include = includedBy(line);
    if (include.empty()) return "";
    const std::string header = include.substr(1);
    return folderOf(file) == "zef" ? publicViolation(include[0], header) : libraryViolation(file, include[0], header);
}

std::vector<fs::path> sourcesBelow(const fs::path& root) {
    std::vector<fs::path> vFiles;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string extension = entry.path().extension().string();
        if (entry.is_regular_file() && extension != ".txt") vFiles.push_back(entry.path());
    }
    std::sort(vFiles.begin(), vFiles.end());
    return vFiles;
}

// Checks all files below root; the number of include lines seen.
int checkFilesBelow(const fs::path& root) {
    int numIncludes = 0;
    for (const fs::path& path : sourcesBelow(root)) {
        const std::string file = fs::relative(path, root).generic_string();
        std::ifstream in(path);
        EXPECT_TRUE(in.is_open()) << path;
        int number = 0;
        for (std::string line; std::getline(in, line);) {
            ++number;
            numIncludes += !includedBy(line).empty();
            const std::string why = violation(file, line);
            EXPECT_EQ(why, "") << path.string() << ":" << number << ": " << line;
        }
    }
    return numIncludes;
}

}  // namespace

TEST(Includes, ofTheLibraryPointDownwards) {
    const fs::path root = fs::path(ZEF_SOURCE_DIR) / "dev" / "src_lib";
    for (const auto& entry : fs::directory_iterator(root)) {
        if (!entry.is_directory()) continue;
        EXPECT_EQ(layers.count(entry.path().filename().string()), 1u) << entry.path();
    }
    EXPECT_GT(checkFilesBelow(root), 20);
}

TEST(Includes, ofPublicHeadersStayPublic) {
    EXPECT_GT(checkFilesBelow(fs::path(ZEF_SOURCE_DIR) / "include"), 5);
}

TEST(IncludeCheck, findsLayersThatAreTurnedAround) {
    EXPECT_NE(violation("frame/tools.h", "#include \"grid/Calc.h\""), "");
    EXPECT_NE(violation("grid/Calc.h", "#include \"cloud/Cloud.h\""), "");
    EXPECT_NE(violation("geometry/Plane.cpp", "  #  include<grid/Calc.h>"), "");
    EXPECT_NE(violation("polygon/Voro.h", "#include \"refine/RMesh.h\""), "");
    EXPECT_NE(violation("field/Corner.h", "#include \"sampling/SNode.h\""), "");
    EXPECT_NE(violation("cloud/Cloud.h", "#include \"topology/CMesh.h\""), "");
    EXPECT_NE(violation("io/PLY.h", "#include \"topology/CMesh.h\""), "");
    EXPECT_NE(violation("repair/Top.h", "#include \"refine/RMesh.h\""), "");
    EXPECT_NE(violation("io/PLY.h", "#include \"api/Hal.h\""), "");
    EXPECT_NE(violation("io/PLY.h", "#include \"zef/Mesh.h\""), "");
    EXPECT_NE(violation("extra/New.h", "#include \"grid/Calc.h\""), "");
    EXPECT_NE(violation("grid/Calc.h", "#include \"Calc.h\""), "");
    EXPECT_NE(violation("grid/Calc.h", "#include \"../frame/tools.h\""), "");
}

TEST(IncludeCheck, acceptsWhatTheLayersAllow) {
    EXPECT_EQ(violation("grid/Calc.h", "#include \"frame/tools.h\"  // why"), "");
    EXPECT_EQ(violation("grid/Calc.cpp", "#include \"grid/Calc.h\""), "");
    EXPECT_EQ(violation("repair/Rotx.h", "#include \"topology/CMesh.h\""), "");
    EXPECT_EQ(violation("repair/Top.h", "#include \"polygon/Voro.h\""), "");
    EXPECT_EQ(violation("api/Hal.h", "#include \"field/Component.h\""), "");
    EXPECT_EQ(violation("api/Mesh.cpp", "#include \"zef/Mesh.h\""), "");
    EXPECT_EQ(violation("io/PLY.h", "#include \"zef/Point3.h\""), "");
    EXPECT_EQ(violation("io/PLY.h", "#include <vector>"), "");
    EXPECT_EQ(violation("frame/tools.h", "// #include \"grid/Calc.h\" would turn the layers around"), "");
}

TEST(IncludeCheck, findsThreadsOutsideTheirHome) {
    for (const std::string header : {"thread", "mutex", "future", "atomic", "condition_variable"}) {
        const std::string line = "#include <" + header + ">";
        EXPECT_NE(violation("field/Component.cpp", line), "") << header;
        EXPECT_NE(violation("frame/tools.cpp", line), "") << header;
        EXPECT_NE(violation("zef/Mesh.h", line), "") << header;
        EXPECT_EQ(violation("parallel/TaskPool.h", line), "") << header;
        EXPECT_EQ(violation("frame/Progress.cpp", line), "") << header;
        EXPECT_EQ(violation("frame/License.cpp", line).empty(), header == "mutex") << header;
    }
}

TEST(IncludeCheck, findsPublicHeadersThatReachInside) {
    EXPECT_NE(violation("zef/Mesh.h", "#include \"refine/RMesh.h\""), "");
    EXPECT_NE(violation("zef/Mesh.h", "#include <tinyply.h>"), "");
    EXPECT_NE(violation("zef/Mesh.h", "#include <tbb/task.h>"), "");
    EXPECT_NE(violation("zef/Mesh.h", "#include \"Point3.h\""), "");
    EXPECT_EQ(violation("zef/Mesh.h", "#include \"zef/Point3.h\""), "");
    EXPECT_EQ(violation("zef/Mesh.h", "#include <memory>"), "");
}
