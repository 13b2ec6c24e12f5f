#pragma once

#include <string>
#include <vector>

#include "CommandRun.h"
#include "io/loadCloud.h"

// A file of points or triangles. What was left out of it becomes a warning; a
// file that cannot be read or holds no points throws Failure.
zef::CloudFile readCloud(CommandRun& commandRun, const std::string& path);

// The points of all files, one after the other; of triangles, their corners.
std::vector<zef::Point3> readPoints(CommandRun& commandRun, const std::vector<std::string>& vPaths);
