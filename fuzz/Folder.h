#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace zef_fuzz {

// A temporary folder that goes with its files, if the process ends as it should.
class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zef-fuzz-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        path = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string path;
};

}  // namespace zef_fuzz
