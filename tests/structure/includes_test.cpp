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
    int height;
    std::set<std::string> uses;  // folders above commonHeight that it may use
};

// Folders up to this height are open to all folders above them.
constexpr int commonHeight = 3;

std::vector<std::string> quotedWords(const std::string& text) {
    std::vector<std::string> vWords;
    for (std::size_t begin = text.find('`'); begin != std::string::npos; begin = text.find('`', begin)) {
        const std::size_t end = text.find('`', begin + 1);
        vWords.push_back(text.substr(begin + 1, end - begin - 1));
        begin = end + 1;
    }
    return vWords;
}

// The rows "| height | `folder` | holds | uses |" of the table of folders.
std::map<std::string, Layer> readLayers() {
    std::map<std::string, Layer> layers;
    std::ifstream table(fs::path(ZEF_SOURCE_DIR) / "dev" / "src_lib" / "LAYERS.md");
    for (std::string row; std::getline(table, row);) {
        if (row.size() < 3 || row[0] != '|' || row[2] < '0' || row[2] > '9') continue;
        std::vector<std::string> vNames = quotedWords(row);
        Layer& layer = layers[vNames.at(0)];
        layer.height = row[2] - '0';
        layer.uses.insert(vNames.begin() + 1, vNames.end());
        if (row.find("| all |") != std::string::npos)
            for (const auto& [name, lower] : layers) layer.uses.insert(name);
    }
    return layers;
}

const std::map<std::string, Layer> layers = readLayers();

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
    if (startsWith(file, "frame/Run.")) return header == "mutex" || header == "atomic";
    if (file == "frame/FirstValue.h") return header == "atomic";
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
    if (to->second.height >= from->second.height) return "points to a higher or sibling layer";
    const bool bOpen = to->second.height <= commonHeight || from->second.uses.count(to->first);
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
        if (entry.is_regular_file() && extension != ".txt" && extension != ".md") vFiles.push_back(entry.path());
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
    for (const auto& [folder, layer] : layers) EXPECT_TRUE(fs::is_directory(root / folder)) << folder;
    EXPECT_GT(checkFilesBelow(root), 20);
}

TEST(Includes, ofPublicHeadersStayPublic) {
    EXPECT_GT(checkFilesBelow(fs::path(ZEF_SOURCE_DIR) / "include"), 5);
}
