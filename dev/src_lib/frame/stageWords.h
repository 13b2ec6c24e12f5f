#pragma once

#include <string_view>

namespace QUOR_ZEF {

// What goes on in the stage of this tag, in a few words; the tag if that is unknown.
std::string_view stageWords(std::string_view tag);

}  // namespace QUOR_ZEF
