#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "flat/arrays.h"
#include "zef/meshFiles.h"

namespace QUOR_ZEF {

// The formats behind writeMesh. Each throws MeshFileError if the mesh does not fit
// into the format or the file cannot be written.
struct MeshFileError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Chooses by the ending, and subtracts the offset, which the others leave alone.
void writeMeshFile(const std::string& path, TriangleMesh mesh, const WriteMeshOptions& options);

void writeObj(const TriangleMesh& mesh, const std::string& path, const WriteMeshOptions& options);
void writeOff(const TriangleMesh& mesh, const std::string& path, const WriteMeshOptions& options);
void writeBinaryStl(const TriangleMesh& mesh, const std::string& path);
void writeGlb(const TriangleMesh& mesh, const std::string& path, const WriteMeshOptions& options);

// The comments of a file: the offset, if there is one, then those of the options.
std::vector<std::string> commentsOf(const WriteMeshOptions& options);

// A mesh from the file, positions merged as told, for an RMesh to leave out what
// repeats an index. False with the fault in words.
bool readMeshFile(const std::string& path, const ReadMeshOptions& options, TriangleMesh& mesh, std::string& error);

}  // namespace QUOR_ZEF
