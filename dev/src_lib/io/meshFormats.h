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

// What readMeshFile() has read.
struct MeshFile {
    TriangleMesh mesh;
    std::size_t numSkipped = 0;   // triangles left out since they repeat a vertex
    double meanSideLength = 1.0;  // of all triangles, these included; 1 if that is 0
};

// A mesh from the file, positions merged as told. False with the fault in words. Too
// many triangles: see checkMeshSize().
bool readMeshFile(const std::string& path, const ReadMeshOptions& options, MeshFile& file, std::string& error);

}  // namespace QUOR_ZEF
