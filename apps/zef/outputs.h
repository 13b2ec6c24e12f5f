#pragma once

#include <array>
#include <string>
#include <vector>

#include "Session.h"
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

// Subtracts what the options ask for from all points, and reports it.
Shift shiftPoints(Session& session, const OutputOptions& output, std::vector<zef::Point3>& vPoints);

// Warns if floats would move the points by more than a hundredth of the spacing.
// Without a spacing it is measured first.
void warnOfRounding(Session& session, const std::vector<zef::Point3>& vPoints, double spacing);
void warnOfRounding(Session& session, const std::vector<zef::Point3>& vPoints);
