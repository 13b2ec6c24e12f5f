#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace zef_test {

// A folder of its own that vanishes with its files, if the process ends as it should.
class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zef-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
        path = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path path;
};

}  // namespace zef_test
