#pragma once

#include <memory>
#include <string_view>

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// Whether a file that begins so is an E57 file.
bool isE57(std::string_view firstBytes);

// E57 as ASTM E2807 defines it: all scans, or the chosen one, each moved by its pose. Points
// that the scanner marked as invalid, or without finite coordinates, are left out and counted
// in a note. The pose of a scan is where its scanner stood. Intensities and normals are 0
// where a scan or a point has none and another scan has.
//
// Some 20 MiB of memory beside the points of a block, which are decoded on all threads.
std::unique_ptr<PointStream> openE57(const InputFile& file, const PointChoice& choice);

}  // namespace QUOR_ZEF
