#pragma once

#include <string>

#include "files/ScanFile.h"

namespace zef_test {

inline QUOR_ZEF::PointFile loadCloud(const std::string& path) {
    return QUOR_ZEF::ScanFile(path).load({});
}

inline QUOR_ZEF::TriangleMesh loadMesh(const std::string& path, const QUOR_ZEF::ReadMeshOptions& options = {}) {
    return QUOR_ZEF::ScanFile(path).loadMesh(options);
}

// A file of points as it was read, or why it was not.
struct LoadedFile : QUOR_ZEF::PointFile {
    std::string error;

    bool load(const std::string& path) {
        *this = {};
        try {
            QUOR_ZEF::PointFile::operator=(loadCloud(path));
        } catch (const QUOR_ZEF::FileError& fault) {
            error = fault.what();
        }
        return error.empty();
    }
};

}  // namespace zef_test
