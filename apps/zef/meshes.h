#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "outputs.h"

namespace QUOR_ZEF {
class Mesh;
}

// Whether a mesh can be written under this name, by its ending.
bool isMeshName(const std::string& path);

// checkOutput for a mesh; throws UsageFailure for a name that isMeshName refuses.
void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs);

// Whether it is written with single precision.
bool narrowsMesh(const OutputOptions& output);

// A mesh of a file. Throws Failure if there is none.
std::shared_ptr<zef::Mesh> readMeshFile(CommandRun& commandRun, const std::string& path);

// Throws Failure if the file cannot be written.
void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, const Shift& shift,
                   const std::shared_ptr<zef::Mesh>& pMesh);
