#pragma once

#include <string>
#include <vector>

#include "CommandRun.h"
#include "zef/files.h"

// A file of points or triangles; one without points throws Failure.
zef::PointFile readCloud(CommandRun& commandRun, const std::string& path);

// The points of all files, one after the other; of triangles, their corners.
std::vector<zef::Point3> readPoints(CommandRun& commandRun, const std::vector<std::string>& vPaths);
