#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "io/loadCloud.h"
#include "measure.h"

// What the commands share that lay a grid over triangles.

struct SamplingOptions {
    double spacing = 0.0;        // edge of a grid cell in world units; 0: a share of the box
    double featureAngle = 45.0;  // degrees
};

void addSamplingOptions(CLI::App& command, SamplingOptions& sampling);

// Three corners of each triangle of the file. Throws Failure, naming it, if it
// holds none, or a number of corners that is no multiple of three.
std::vector<zef::Point3> cornersOf(zef::CloudFile file, const std::string& path);
std::vector<zef::Point3> readCorners(CommandRun& commandRun, const std::string& path);

// The spacing asked for, else a 200th of the longest side of the box; reports it.
// Throws Failure if such a box has no size.
double chooseSpacing(CommandRun& commandRun, const SamplingOptions& sampling, const Box& box);
