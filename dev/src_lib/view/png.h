#pragma once

#include <string>

#include "zef/view.h"

namespace QUOR_ZEF {

// The work of writePng().
void savePng(const std::string& path, const Image& image);

}  // namespace QUOR_ZEF
