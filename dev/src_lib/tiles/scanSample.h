#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "frame/types.h"
#include "tiles/BlockCounts.h"
#include "zef/Point3.h"
#include "zef/files.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

// What bounds the memory of planning.
struct PlanLimits {
    std::size_t mostBlocks = std::size_t{1} << 19;
    std::size_t mostPoints = 3'000'000;  // of a sample; no more are all of them
    std::size_t pointsOfPlace = 50'000;  // whose inside shows what the whole is
};

// What one pass over the inputs tells.
struct Survey {
    BlockCounts blocks;
    uint64 numPoints = 0;  // finite ones
    std::optional<Point3> viewpoint;
    std::optional<std::vector<Point3>> all;  // unless they are too many
};
Survey surveyInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& reading,
                    const PlanLimits& limits);

// What another pass finds.
struct Sample {
    std::vector<Point3> points;  // all of some places, drawn by their position
    Point3 low, high;            // of all points but strays
    uint64 numStrays = 0;        // by whole blocks
};
Sample sampleInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& reading, const Survey& survey,
                    bool bKeepOutliers, const PlanLimits& limits);

// The grid that is laid over this box as reconstruct() does it, with what was found on a sample. ArgumentError if its
// spacing is too fine for the box.
Grid layGrid(const Grid& ofSample, const Point3& low, const Point3& high);

}  // namespace QUOR_ZEF
