#pragma once

#include "zef/view.h"

namespace QUOR_ZEF {

// The work of draw(), for options and meshes that have been checked.
Image drawScene(const ViewScene& scene, const DrawOptions& options);

}  // namespace QUOR_ZEF
