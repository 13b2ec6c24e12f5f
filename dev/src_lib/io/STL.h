#pragma once

#include <string>

namespace QUOR_ZEF {

class AtomicFile;
struct TriangleMesh;

// The triangles as STL text, 10 significant digits, each with its unit normal
// (0 0 0 if it has none). False with a message if the file cannot be written.
bool writeSTL(const TriangleMesh& mesh, const std::string& name);
// The same into an open file, which the caller commits.
void writeStlText(AtomicFile& file, const TriangleMesh& mesh);

}  // namespace QUOR_ZEF
