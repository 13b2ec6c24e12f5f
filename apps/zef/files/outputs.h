#pragma once

#include <span>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "options.h"
#include "reports/measure.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"
#include "zef/files.h"

// Whether the file looks like a cloud or a mesh, by its first bytes. An empty
// file does.
bool isCloudOrMeshFile(const std::string& path);

// Throws Failure before any work is done: if the output is something that is not
// to be replaced, or its folder is missing.
void checkOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);

// What --shift takes away from points in this box, 0 without it; reports it.
zef::Vector3 chooseShift(CommandRun& commandRun, const OutputOptions& output, const Box& box);

// What the library is told for a file of this output.
zef::WriteOptions writeOptionsOf(const OutputOptions& output, const zef::Vector3& shift);

// Whether a cloud is written with single precision.
bool narrowsCloud(const OutputOptions& output);

// Takes the shift away, warns of rounding if floats are written, and writes the
// points. detail: a length that rounding should leave alone, such as the spacing.
void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double detail,
                    std::span<const zef::Point3> points);

// Warns if floats would move shifted points by more than a hundredth of the spacing.
void warnOfRounding(CommandRun& commandRun, const Box& box, const zef::Vector3& shift, double spacing);
