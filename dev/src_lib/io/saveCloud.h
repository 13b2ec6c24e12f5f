#pragma once

#include <span>
#include <string>

#include "zef/files.h"

namespace QUOR_ZEF {

// Whether saveCloud knows the ending of the name, in any capitals.
bool isCloudName(const std::string& path);

// Whether it has doubles whatever is asked for.
bool isAlwaysExact(const std::string& path);

// See write(). Throws a FileError, and ArgumentError for another ending. One thread, O(n).
WriteResult saveCloud(const std::string& path, std::span<const Point3> points, const WriteOptions& options);

}  // namespace QUOR_ZEF
