#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "zef/files.h"
#include "zef/reconstruction.h"

// What the commands share that lay a grid over triangles.

void addSamplingOptions(CLI::App& command, zef::MeltOptions& sampling);

// Three corners of each triangle of the file. Throws Failure, naming it, if it
// holds none, or a number of corners that is no multiple of three.
std::vector<zef::Point3> cornersOf(zef::PointFile file, const std::string& path);
std::vector<zef::Point3> readCorners(CommandRun& commandRun, const std::string& path);

// The same with a spacing, which is reported. Throws Failure if none is given and the
// corners have none.
zef::MeltOptions chooseSpacing(CommandRun& commandRun, zef::MeltOptions sampling,
                               const std::vector<zef::Point3>& vCorners);
