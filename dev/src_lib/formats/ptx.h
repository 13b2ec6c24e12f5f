#pragma once

#include <memory>
#include <string_view>

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// Whether a file that begins so has the shape of PTX: two whole numbers, four lines of three
// numbers and four of four.
bool isPtx(std::string_view firstBytes);

// PTX, one or several scans, each a grid of columns and rows with the place of its scanner and a
// matrix that moves its points. Lines hold x y z, intensity and maybe red green blue. Points at
// 0 0 0, from which nothing came back, are left out and counted in a note. How many points and
// scans there are is known at the end.
//
// Some MiB of memory beside the points of a block.
std::unique_ptr<PointStream> openPtx(const InputFile& file, const PointChoice& choice);

}  // namespace QUOR_ZEF
