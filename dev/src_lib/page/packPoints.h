#pragma once

#include <cstddef>
#include <string>

#include "page/PageData.h"
#include "zef/view.h"

namespace QUOR_ZEF {

// The points of a scene as a page holds them: a JSON object, whose arrays lie in data, with the
// distances to its first two meshes, whose triangles are finite. Points that are not finite are left out. Of more than
// maxPoints some are left out evenly, with a warning.
std::string packPoints(const ViewScene& scene, std::size_t maxPoints, PageData& data);

}  // namespace QUOR_ZEF
