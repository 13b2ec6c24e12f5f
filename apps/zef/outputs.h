#pragma once

#include <array>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "measure.h"
#include "options.h"
#include "zef/Point3.h"

// Whether the file looks like a cloud or a mesh, by its first bytes. An empty
// file does.
bool isCloudOrMeshFile(const std::string& path);

// Throws Failure before any work is done: if the output is something that is not
// to be replaced, or its folder is missing.
void checkOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);

// What --shift takes away.
struct Shift {
    bool bShifted = false;
    std::array<double, 3> offset{};

    // For the written file; empty if nothing was shifted.
    std::vector<std::string> comments() const;
};

// What the options ask for, for points in this box; reports it.
Shift chooseShift(CommandRun& commandRun, const OutputOptions& output, const Box& box);

// Whether a cloud is written with single precision.
bool narrowsCloud(const OutputOptions& output);

// Takes the shift away, warns of rounding if floats are written, and writes the
// points. detail: a length that rounding should leave alone, such as the spacing.
// Throws Failure if the file cannot be written.
void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double detail,
                    std::vector<zef::Point3>& vPoints);

// Warns if floats would move shifted points by more than a hundredth of the spacing.
void warnOfRounding(CommandRun& commandRun, const Box& box, const Shift& shift, double spacing);
