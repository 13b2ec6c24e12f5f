#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Folder.h"

namespace zef_test {

// A temporary folder, and the files in it.
class TempFolder : public Folder {
public:
    std::string name(const std::string& file) const { return (path / file).string(); }
    // Writes a file and gives its name. A new file each time: cutting an old one
    // to nothing makes some file systems wait for the disk.
    std::string put(const std::string& file, std::string_view bytes) const {
        std::filesystem::remove(name(file));
        std::ofstream out(name(file), std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out) throw std::runtime_error("not written: " + file);
        return name(file);
    }
    std::string get(const std::string& file) const {
        std::ifstream in(name(file), std::ios::binary);
        if (!in) ADD_FAILURE() << "no file " << file;
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t numFiles() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator()));
    }
};

}  // namespace zef_test
