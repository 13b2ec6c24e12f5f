#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "outputs.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {
class Mesh;
}

// Whether a mesh can be written under this name, by its ending.
bool isMeshName(const std::string& path);

// checkOutput for a mesh; throws UsageFailure for a name that isMeshName refuses,
// and for doubles in a format that has none.
void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);

// Whether it is written with single precision.
bool narrowsMesh(const OutputOptions& output);

// A mesh of a file. Throws Failure if there is none.
std::shared_ptr<zef::Mesh> readMeshFile(CommandRun& commandRun, const std::string& path);

// For commands that make meshes: whether what is not manifold is left as it is.
void addMendOption(CLI::App& command, bool& bKeepNonManifold);

// Makes the mesh manifold, unless it shall keep what is not; see zef::makeManifold for
// the holes. Throws Failure with the text if there is no mesh or nothing in it.
void mend(const std::shared_ptr<zef::Mesh>& pMesh, bool bKeepNonManifold, const zef::ManifoldOptions& options,
          const std::string& textIfEmpty);

// Throws Failure if the file cannot be written.
void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, const Shift& shift,
                   const std::shared_ptr<zef::Mesh>& pMesh);

// How a command ends that has made a mesh: reports what is in it and the laps of the
// command, and writes it. box: of the coordinates. detail: a length that rounding
// should leave alone, such as the spacing.
void deliverMesh(CommandRun& commandRun, const OutputOptions& output, const Box& box, double detail,
                 const std::shared_ptr<zef::Mesh>& pMesh);
