#pragma once

#include <span>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "options.h"
#include "reports/Report.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"
#include "zef/files.h"

// Whether the file looks like a cloud or a mesh, by its first bytes. An empty
// file does.
bool isCloudOrMeshFile(const std::string& path);

// Throws Failure before any work is done: if the output is something that is not
// to be replaced, or its folder is missing.
void checkOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);
// The same for a picture, which replaces pictures alone.
void checkPicture(const std::string& path, const std::vector<std::string>& vInputs, bool bForce);
// For a page, which replaces pages alone.
void checkPage(const std::string& path, const std::vector<std::string>& vInputs, bool bForce);

// What the library is told for a file of this output. middle: what --shift auto takes
// away. spacing: which rounding should leave alone; 0 if the library is to find one.
zef::WriteOptions writeOptionsOf(const OutputOptions& output, const zef::Vector3& middle, double spacing);

// The precision, and what was taken away if --shift was given or the library chose to.
void reportWritten(Report& report, const OutputOptions& output, const zef::WriteResult& written);

// Writes the points, or also what belongs to them, and reports how; spacing as above.
void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double spacing,
                    std::span<const zef::Point3> points);
void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::PointFile& cloud);
