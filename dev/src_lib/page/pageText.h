#pragma once

#include <string>
#include <string_view>

namespace QUOR_ZEF {

// The page around its parts. json: the data, without any < in it; bytes: what that speaks of.
// The title is plain text, the bundle a script that holds no end of an element.
std::string pageText(std::string_view title, std::string_view json, std::string_view bytes, std::string_view bundle);

}  // namespace QUOR_ZEF
