#pragma once

#include <string>
#include <vector>

#include "bytes/LoadError.h"
#include "zef/files.h"

namespace QUOR_ZEF {

// The formats behind write(). Each throws a SaveError, or PLY a PlyError, if the mesh
// does not fit into the format or the file cannot be written.
// Chooses by the ending, numbers the vertices by first use, settles the precision and
// subtracts the offset, which the others leave alone: they take settled() options. Throws
// a FileError; ArgumentError for an ending that is none of a mesh, and for doubles in a
// format that has none.
WriteResult writeMeshFile(const std::string& path, const TriangleMesh& mesh, const WriteOptions& options);
// Whether the ending, in small letters, is one of those.
bool isMeshFormat(const std::string& ending);
bool hasDoubles(const std::string& ending);
bool hasNormals(const std::string& ending);

void writeObj(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options);
void writeOff(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options);
void writeBinaryStl(const TriangleMesh& mesh, const std::string& path);
void writeGlb(const TriangleMesh& mesh, const std::string& path, const WriteOptions& options);

// The comments of a file: the offset, if there is one, then those of the options.
std::vector<std::string> commentsOf(const WriteOptions& options);

// See toMesh(). name: of the file, for messages; may be empty. Throws a LoadError.
TriangleMesh meshOf(PointFile&& file, const std::string& name, const ReadMeshOptions& options);

}  // namespace QUOR_ZEF
