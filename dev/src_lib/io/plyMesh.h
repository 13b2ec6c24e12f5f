#pragma once

#include <string>
#include <vector>

#include "io/PLY.h"

namespace QUOR_ZEF {

struct TriangleMesh;

namespace PLY {

// The triangles as text or as little-endian binary, coordinates narrowed to float,
// with four bytes of colour for each vertex, whether it has a colour or not. False
// with a message if the file cannot be written.
bool writePly(const TriangleMesh& mesh, const std::string& name, bool bAscii);

// What writePlyMesh writes beside the triangles.
struct MeshLayout {
    Format format = Format::LITTLE_ENDIAN_BINARY;
    bool bDouble = false;  // coordinates
    int digits = 6;        // of coordinates in text, or shortest
    bool bNormals = false;
    bool bColor = true;  // red green blue alpha
    std::vector<std::string> vComments;
};
// Throws a PlyError if the file cannot be written.
void writePlyMesh(const TriangleMesh& mesh, const std::string& name, const MeshLayout& layout);

}  // namespace PLY
}  // namespace QUOR_ZEF
