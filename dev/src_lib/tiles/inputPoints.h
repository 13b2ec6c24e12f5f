#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"
#include "zef/files.h"

namespace QUOR_ZEF {

struct InputFacts {
    uint64 numPoints = 0;  // finite ones
    // Where the scanner stood, if all points were seen from one place and the files say so.
    std::optional<Point3> viewpoint;
};

// Hands the finite points of all inputs to fn, in their order and a part at a time; what has to be read as a whole is
// one part. bTell: warns of what is odd, for one of several passes. Its stage is "IO_files". Throws FileErrors.
InputFacts readInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& options, bool bTell,
                      const std::function<void(std::span<const Point3>)>& fn);

}  // namespace QUOR_ZEF
