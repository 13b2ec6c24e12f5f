#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "frame/types.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// The plan of a job as the JSON text of job.json; all numbers read back as they were.
std::string textOf(const TilePlan& plan);
// Throws a LoadError for what is no such text.
TilePlan planOf(std::string_view text);

// Tells plans apart: what a job writes repeats it.
uint64 digestOf(const TilePlan& plan);

// What these inputs and options have otherwise than those of the plan, for people; empty if nothing is.
std::string differenceOf(const TilePlan& plan, const std::vector<std::filesystem::path>& inputs,
                         const TileOptions& options);

}  // namespace QUOR_ZEF
