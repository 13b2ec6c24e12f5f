#pragma once

#include <string>
#include <string_view>

#include "zef/view.h"

namespace QUOR_ZEF {

// The work of makePage(), for a scene and a bundle that have been checked, and of writePage().
std::string pageOf(ViewScene scene, std::string_view bundle, const PageOptions& options);
void savePage(const std::string& path, std::string_view html);

}  // namespace QUOR_ZEF
