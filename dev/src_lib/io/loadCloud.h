#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// What a file of points or triangles holds.
struct CloudFile {
    enum class Kind : std::uint8_t {
        POINTS,   // vPoints are points
        CORNERS,  // vPoints are the corners of triangles, three each, nothing shared
        MESH,     // vPoints are vertices, vTriangles their triangles
    };
    using Triangle = std::array<std::uint32_t, 3>;  // indices into vPoints

    Kind kind = Kind::POINTS;
    std::string format;           // in words, for people: "PLY, little-endian binary"
    std::vector<Point3> vPoints;  // in the order of the file, all coordinates as they stand there
    std::vector<Triangle> vTriangles;
    bool bHasColor = false;              // some points have colour
    uint64 numHeaderLines = 0;           // text lists: lines before the first point
    uint64 numSkippedLines = 0;          // lines further on that hold no point
    uint64 numPolygons = 0;              // faces of four or more corners, cut into fans
    uint64 numDroppedFaces = 0;          // faces of fewer than three corners
    uint64 numUnusedVertices = 0;        // meshes: vertices of no triangle
    std::vector<std::string> vComments;  // the first ones, at most 100
    std::vector<std::string> vNotes;     // what was left out, a sentence each
    std::string error;                   // what is wrong, where, and what helps; empty if all is well
};

// Reads what people use, by the ending of the name in any capitals:
//   .ply                       text or either byte order; colours red green blue with or
//                              without alpha, as whole numbers or 0 to 1; faces
//   .stl                       text or binary
//   .obj .off                  vertices, colours, faces
//   .xyz .txt .asc .pts .csv   x y z a line, apart by blanks, commas or semicolons; the
//                              first line may name the columns. Whole numbers from 0 to
//                              255 in columns 4 to 6 of all lines (5 to 7 if a .pts file
//                              has seven) are red green blue
//   .bin                       as readPoints_BIN, but never more points than are there
// Doubles keep their precision, colour without alpha gets alpha 255, and other
// properties are skipped. Coordinates may be nan or infinite.
// False with out.error, and no points, if the file cannot be read or an index of
// a face means no vertex. out is overwritten. At most 16 times the size of the
// file and 1 MiB of memory. One thread, O(n).
bool loadCloud(const std::string& path, CloudFile& out);

// From the last dot on, in small letters; empty if there is none.
std::string endingOf(const std::string& path);

}  // namespace QUOR_ZEF
