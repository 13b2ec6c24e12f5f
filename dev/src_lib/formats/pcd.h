#pragma once

#include <memory>
#include <string_view>

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// Whether a file that begins so is a PCD file.
bool isPcd(std::string_view firstBytes);

// PCD 0.5 to 0.7 as text, binary or compressed. Taken are x y z; rgb or rgba, packed, or red
// green blue of their own; normal_x normal_y normal_z; intensity; classification, all in any
// capitals and of any type. Points that are not finite stay. The viewpoint moves no points; one
// that is all zero says something only where the cloud is organised in rows.
//
// Some MiB of memory beside the points of a block; the compressed form, which is one piece, as
// much as its points take, at most 88 times the size of the file.
std::unique_ptr<PointStream> openPcd(const InputFile& file, const PointChoice& choice);

}  // namespace QUOR_ZEF
