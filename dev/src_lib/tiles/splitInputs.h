#pragma once

#include <filesystem>

namespace QUOR_ZEF {

// Writes the points of the tiles that are not there yet, in one pass over the inputs. FileError if these hold another
// number of points than when the job was planned.
void splitInputs(const std::filesystem::path& job);

}  // namespace QUOR_ZEF
