#pragma once

#include <CLI/App.hpp>
#include <string>

#include "zef/reconstruction.h"

// The options of reconstructions, whole or in tiles.
struct LibraryOptions {
    zef::ReconstructOptions given;
    // As they were given; see settled().
    std::string viewpoint;  // empty or "x,y,z"
    std::string refit = "auto";
};

// What the grid is, and which points and gaps count.
void addGridOptions(CLI::App& command, LibraryOptions& options);
// Which small parts stay.
void addPieceOptions(CLI::App& command, LibraryOptions& options);
void addViewpointOption(CLI::App& command, LibraryOptions& options);
void addRefitOption(CLI::App& command, LibraryOptions& options, const std::string& words);

// With viewpoint and refit.
zef::ReconstructOptions settled(const LibraryOptions& options);
