#pragma once

#include <string>

#include "zef/files.h"

namespace QUOR_ZEF {

// See readPoints(): throws a FileError, and ArgumentError for an ending it does not know.
// At most 16 times the size of the file and 1 MiB of memory. One thread, O(n).
PointFile loadCloud(const std::string& path);

// From the last dot on, in small letters; empty if there is none.
std::string endingOf(const std::string& path);

}  // namespace QUOR_ZEF
