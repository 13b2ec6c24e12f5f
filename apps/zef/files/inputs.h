#pragma once

#include <string>
#include <vector>

#include "CommandRun.h"
#include "options.h"
#include "zef/files.h"

// The names as they are, but a folder stands for the files in it that can be read, by name. Throws Failure if there
// are none in one.
std::vector<std::string> filesOf(const std::vector<std::string>& vPaths);

// A file of points or triangles; one without points throws Failure.
zef::PointFile readCloud(CommandRun& commandRun, const std::string& path, const zef::ReadOptions& options = {});

// The same of several, of which more than one are taken for points; folders as below.
zef::PointFile readFiles(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                         const zef::ReadOptions& options);

// Files of points, taken together; a folder stands for the files in it that can be read, by
// name. Triangles are left out with a warning. Throws Failure if there are no points.
zef::PointFile readScan(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                        const zef::ReadOptions& options = {});
