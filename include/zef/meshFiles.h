#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zef/Vector3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

class Mesh;

// Files of meshes. All functions here run on the calling thread. What goes wrong
// is told in one message on the standard streams. A written file appears whole or
// not at all: on failure what stood under the name is untouched.

struct WriteMeshOptions {
    // Coordinates as doubles: 8 bytes in PLY, all digits in text. Binary STL and glTF
    // know floats only, and writeMesh refuses the option for them.
    bool bDouble = false;
    // Text where the format has both forms (PLY, STL).
    bool bText = false;
    // Subtracted from all coordinates, so that floats can hold those that are far
    // from the origin. Stands in the file, if it is not 0, as a comment "offset X Y Z"
    // (PLY, OBJ, OFF) or under asset.extras.offset (glTF); STL has no place for it.
    Vector3 offset;
    // Further comments, a line each (PLY, OBJ, OFF).
    std::vector<std::string> vComments;
};

// By the ending of the name, in any capitals:
//   .ply   binary, or text; colours if any vertex has one
//   .obj   colours after the coordinates, 0 to 1, if any vertex has one
//   .stl   binary, or text; no colours
//   .off   COFF with colours 0 to 1 if any vertex has one, else OFF
//   .glb   glTF 2.0 in one binary file; the axes stay as they are; colours become
//          linear, as that format wants them
// Vertices are those of triangles, by first use. A vertex without colour in a mesh
// with colours becomes grey. Coordinates in text have the fewest digits that read
// back as the same float or double, in STL ten.
// False for another ending, for a mesh that the format cannot hold (4 GiB in glTF,
// 2^32 triangles in STL, coordinates in glTF that no float holds) and for a file
// that cannot be written. Null fails an ASSEX. O(n).
ZEF_API bool writeMesh(const std::string& path, const std::shared_ptr<Mesh>& pMesh,
                       const WriteMeshOptions& options = {});

// By getFileType: STL as text, PLY, or a Geomview list. For PLY, bFlag chooses
// Mesh::writePly_ASCII, whose file is binary, otherwise writePly_BIN, whose file is
// text. For any other name that text file is written under the name as it stands,
// whatever the message says. False, after a message, for a name too short to have
// an ending.
ZEF_API bool writeMesh_auto(const std::string& name, std::shared_ptr<Mesh> pMesh, bool bFlag);

struct ReadMeshOptions {
    // Makes one vertex of those with equal positions, whatever the format; -0.0
    // equals 0.0. STL has no vertices of its own, so there it always happens. Meshes
    // from makeManifold() would get back what it has cut apart.
    bool bMergeEqual = false;
};

// PLY, STL, OBJ or OFF, text or binary, by the ending of the name. Vertices come in
// the order of the file, with colour; polygons are cut into fans; triangles in
// which a vertex comes twice are left out, see Mesh::getNumSkippedT(). Orientation,
// duplicates and what is not manifold stay as they are in the file.
// Null after a message: a file that cannot be read, a face with an index that
// means no vertex (with its number), a vertex of a triangle that is no finite
// position, no triangles. O(n log n) where positions are merged, else O(n).
ZEF_API std::shared_ptr<Mesh> readMesh(const std::string& path);
ZEF_API std::shared_ptr<Mesh> readMesh(const std::string& path, const ReadMeshOptions& options);

}  // namespace QUOR_ZEF
