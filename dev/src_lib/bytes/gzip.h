#pragma once

#include <string>
#include <string_view>

namespace QUOR_ZEF {

bool isGzip(std::string_view bytes);

// What all members of a gzip file hold. LoadError if it is damaged, and before more than 1 MiB
// and 1024 times its size come out, which is what the format reaches at most.
std::string unpackGzip(std::string_view bytes);

}  // namespace QUOR_ZEF
