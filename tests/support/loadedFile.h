#pragma once

#include <string>

#include "io/loadCloud.h"

namespace zef_test {

// A file of points as it was read, or why it was not.
struct LoadedFile : QUOR_ZEF::PointFile {
    std::string error;

    bool load(const std::string& path) {
        *this = {};
        try {
            QUOR_ZEF::PointFile::operator=(QUOR_ZEF::loadCloud(path));
        } catch (const QUOR_ZEF::FileError& fault) {
            error = fault.what();
        }
        return error.empty();
    }
};

}  // namespace zef_test
