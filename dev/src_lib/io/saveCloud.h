#pragma once

#include <string>
#include <vector>

#include "zef/Point3.h"

namespace QUOR_ZEF {

struct SaveOptions {
    bool bDouble = false;                // PLY: coordinates as double instead of float
    std::vector<std::string> vComments;  // PLY: comment lines, without line ends
};

// Whether saveCloud knows the ending of the name, in any capitals.
bool isCloudName(const std::string& path);

// Whether saveCloud narrows coordinates to float under this name.
bool narrowsCloud(const std::string& path, const SaveOptions& options);

// Writes what loadCloud reads, by the ending of the name in any capitals:
//   .ply                       little-endian binary; red green blue alpha if any point has colour
//   .xyz .txt .asc .pts .csv   x y z a line, so that doubles read back the same, then
//                              red green blue if any point has colour; .csv with commas
//   .bin                       as writePoints_BIN: no colour
// Where some points have colour, the others are written white.
// False with error set on failure; what stood under the name is then untouched.
// One thread, O(n).
bool saveCloud(const std::string& path, const std::vector<Point3>& vPoints, const SaveOptions& options,
               std::string& error);

}  // namespace QUOR_ZEF
