#pragma once

#include <string>

namespace QUOR_ZEF {

class AtomicFile;
class RMesh;
struct FlatMesh;

// The live triangles as STL text, 10 significant digits, each with its unit normal
// (0 0 0 if it has none). False with a message if the file cannot be written.
bool writeSTL(RMesh* pMesh, const std::string& name);
// The same into an open file, which the caller commits.
void writeStlText(AtomicFile& file, const FlatMesh& mesh);

}  // namespace QUOR_ZEF
