#pragma once

#include <memory>
#include <string_view>

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// LAS 1.0 to 1.5 with the point formats 0 to 10, and LAZ with the compressors 1 to 3; the header
// tells which. After LAS 1.4 - R15, ASPRS, and "LASzip: lossless compression of LiDAR data",
// M. Isenburg, 2013.

// Whether a file that starts with these bytes, 4 or more, claims to be one.
bool isLas(std::string_view firstBytes);

// Points that the file calls withheld are left out, and a note counts them. Colours of 16 bits
// keep their high byte, unless no value of the file is above 255: then they are taken as they
// stand. Where all are zero there is none. Telling that may take a look at all colours of the
// file, in the first call of next(). Chunks are decoded on all threads; memory is bounded by the
// block that is read, whatever the file says.
std::unique_ptr<PointStream> openLas(const InputFile& file, const PointChoice& choice);

}  // namespace QUOR_ZEF
