#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "zef/files.h"

// A file of points or triangles; one without points throws Failure.
zef::PointFile readCloud(CommandRun& commandRun, const std::string& path);

// The points of some files, one after the other; of triangles, their corners.
struct Scan {
    std::vector<zef::Point3> points;
    std::vector<zef::Vector3> normals;     // one for each point if all files have some, else none
    std::optional<zef::Point3> viewpoint;  // of the files that have one, if it is the same
};
Scan readScan(CommandRun& commandRun, const std::vector<std::string>& vPaths);
