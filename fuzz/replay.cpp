// Runs the inputs of a folder again, as the targets would: files of points and meshes, and below "operations" and
// "tool" what these targets read.
//
//   replay FOLDER

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/targets.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    const std::string folder = path.parent_path().filename().string();
    std::fprintf(stderr, "%s\n", path.c_str());
    if (folder == "operations") {
        zef_fuzz::callDrawn({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    } else if (folder == "tool") {
        zef_fuzz::runWords(bytes);
    } else {
        zef_fuzz::readBytes(path.extension().string(), bytes);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::size_t numFiles = 0;
    for (const auto& entry : fs::recursive_directory_iterator(fs::absolute(argv[1]))) {
        if (!entry.is_regular_file()) continue;
        replay(entry.path());
        ++numFiles;
    }
    return numFiles > 0 ? 0 : 1;
}
