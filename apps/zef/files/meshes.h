#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "files/outputs.h"
#include "zef/TriangleMesh.h"
#include "zef/meshCheck.h"

bool isFinite(const zef::Point3& p);

// checkOutput for a mesh; throws UsageFailure for a name that says no format of
// meshes, and for doubles in a format that has none.
void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);

// A mesh, or the points of a file without triangles. Triangles that repeat a vertex or are not finite
// are left out, with a warning.
zef::TriangleMesh readSurface(CommandRun& commandRun, const std::string& path);

zef::TriangleMesh readMeshFile(CommandRun& commandRun, const std::string& path);

// For commands that make meshes: whether what is not manifold is left as it is.
void addMendOption(CLI::App& command, bool& bKeepNonManifold);
void addUntangleOption(CLI::App& command, bool& bUntangle);

// Writes the mesh and reports how; spacing as in writeOptionsOf(). From here on the
// command cannot be cancelled.
void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh);

// Reports what is in a mesh that a command has made.
zef::MeshReport reportMeshOf(CommandRun& commandRun, const zef::TriangleMesh& mesh);
// Writes it and reports the laps of the command, whose last one begins with the call.
void finishMesh(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh);
// Both, one after the other.
void deliverMesh(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh);
