#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zef/Context.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"
#include "zef/errors.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Files of points and meshes, by the ending of the name in any capitals. What cannot be
// read or written throws a FileError that begins with the name and says where and what
// helps; readers take at most 16 times the size of the file, or of what it unpacks to, and
// some MiB of memory, whatever the file claims; of compressed LAS and E57 what its points take. A written file appears
// whole or not at all: on failure, and when the call is cancelled, what stood under the name is untouched. The locale
// plays no part. All on the calling thread but LAS, E57, PTX and text, which all threads of the context read; O(n).

// What a file of points or triangles holds.
struct PointFile {
    enum class Kind : std::uint8_t {
        POINTS,   // points
        CORNERS,  // the corners of triangles, three each, nothing shared
        MESH,     // vertices, and indices of their triangles
    };

    Kind kind = Kind::POINTS;
    std::string format;                  // in words, for people: "PLY, little-endian binary"
    std::vector<Point3> points;          // in the order of the file, all coordinates as they stand there
    std::vector<std::uint32_t> indices;  // of a MESH, three a triangle
    bool hasColor = false;               // some points have colour
    // As they stand in the file, not normalised, one for each point; zero where one is
    // missing or not finite. Empty if there are none.
    std::vector<Vector3> normals;
    std::vector<std::uint8_t> classes;  // LAS: of each point, 2 ground, 6 building ...; else empty
    std::vector<float> intensities;     // of each point as they stand in the file; empty if there are none
    // Where the scanner stood, if the file says so. Where scans of one file stood at several
    // places there is none, and normals, if the file has none, point from each point to its
    // scanner.
    std::optional<Point3> viewpoint;
    std::uint32_t numScans = 1;           // in the file
    std::string projection;               // of the coordinates, as far as the file names it
    std::uint64_t numNotTaken = 0;        // points that the options leave out or unite
    std::uint64_t numHeaderLines = 0;     // text lists: lines before the first point
    std::uint64_t numSkippedLines = 0;    // lines further on that hold no point
    std::uint64_t numPolygons = 0;        // faces of four or more corners, cut into fans
    std::uint64_t numDroppedFaces = 0;    // faces of fewer than three corners
    std::uint64_t numUnusedVertices = 0;  // meshes: vertices of no triangle
    std::vector<std::string> comments;    // the first ones, at most 100
    std::vector<std::string> notes;       // what was left out, a sentence each; also messages of the call

    std::uint64_t numTriangles() const { return (kind == Kind::CORNERS ? points.size() : indices.size()) / 3; }
};

// Reads
//   .ply                       text or either byte order; colours red green blue with or
//                              without alpha, as whole numbers (up to 65535 if one is above
//                              255, else up to 255) or real ones (0 to 1, or 0 to 255 if one
//                              is above 1); normals nx ny nz; faces; the first comment or
//                              obj_info "viewpoint X Y Z", in any capitals
//   .stl                       text or binary
//   .obj .off                  vertices, colours, faces
//   .glb .gltf                 glTF 2.0: points and triangles that the nodes of the default scene
//                              show, in their places; colours, as bytes for the eye, and normals.
//                              Buffers in files of their own and compressed ones are refused
//   .xyz .txt .asc .pts .csv   x y z a line, apart by blanks, commas or semicolons; the
//                              first line may name the columns, also r g b or red green
//                              blue, and nx ny nz. Colours are whole numbers up to 255, or
//                              up to 65535, or numbers from 0 to 1 with a fraction among
//                              them, on all lines. Without names columns 4 to 6 (5 to 7 if
//                              a .pts file has seven) are
//                                normals  where no line has a seventh and all have length
//                                         1, to a thousandth
//                                colours  up to 255; up to 65535 where each of the three
//                                         goes beyond 255, or 0 to 1, only as the last ones
//   .bin                       int32 type (30, or 20 for points without z), int64 count,
//                              then the coordinates as doubles, all little-endian
//   .las .laz                  LAS 1.0 to 1.4, all point formats, compressed or not; colours of
//                              16 bits, or of 8 where none of the file is above 255;
//                              intensities, classes, projection; withheld points are left out
//   .e57                       all scans with their poses; colours, intensities, normals,
//                              places of the scanner; invalid points are left out
//   .pcd                       text, binary or compressed; colours, normals, intensities,
//                              viewpoint
//   .ptx                       all scans with their poses; colours, intensities, places of the
//                              scanner; points without return are left out
// and each of them but LAS, E57, PCD and PTX also compressed by gzip (.ply.gz). A mark at the start of
// the file counts for more than the ending. Doubles keep their precision, colour without alpha gets alpha 255, and
// other properties are skipped. Coordinates may be nan or infinite.
ZEF_API PointFile readPoints(const std::filesystem::path& path, const Context& context = {});

// Which points of files are taken. Choosing among those of a mesh leaves its triangles out.
struct ReadOptions {
    // Classes of LAS. Empty: all. Points of files without classes are taken.
    std::vector<std::uint8_t> keepClasses = {};
    std::vector<std::uint8_t> dropClasses = {};
    // Only the points in the box between these corners, which belong to it.
    std::optional<std::array<Point3, 2>> box = {};
    // Of the points that are left, the first of each so many.
    std::uint64_t every = 1;
    // Above 0: of the points that are left, one for each cell of a grid with this side, in world
    // units: their mean, with the mean of their colours, normals and intensities and the class of
    // the first, by first use of the cell. Beyond the points that come out, LAS, E57, PTX, PCD without
    // compression, PLY and text then take bounded memory, however large the file, if not by gzip.
    double grid = 0.0;
    // Only this scan of files that hold several, from 0 on.
    std::optional<std::uint32_t> scan = {};
    // Names of the columns of text lists, apart by commas: x y z, r g b, nx ny nz, i
    // (intensity); other names are skipped. Empty: found as told above.
    std::string columns = {};
    // Takes what can be read of a damaged file, with a note, instead of a FileError; of PLY the
    // points before the fault, without triangles.
    bool partial = false;
};

// The points of some files, one after the other, as if they were one. Normals, classes and
// intensities are there if all files have them. Compressed LAS is decoded on all threads of the context.
ZEF_API PointFile readPoints(const std::vector<std::filesystem::path>& paths, const ReadOptions& options,
                             const Context& context = {});

struct ReadMeshOptions {
    // Makes one vertex of those with equal positions, whatever the format; -0.0
    // equals 0.0. STL has no vertices of its own, so there it always happens. Meshes
    // from mend() would get back what it has cut apart.
    bool mergeEqual = false;
};

// PLY, STL, OBJ, OFF or glTF. Vertices come in the order of the file, with colour; polygons
// are cut into fans; triangles in which a vertex comes twice are left out with a
// warning that counts them. Orientation, duplicates and what is not manifold stay as
// they are in the file. No triangles, or a triangle whose vertex has no finite position,
// is a FileError.
ZEF_API TriangleMesh readMesh(const std::filesystem::path& path, const ReadMeshOptions& options = {},
                              const Context& context = {});

// The same of a file that readPoints() has read.
ZEF_API TriangleMesh toMesh(PointFile file, const ReadMeshOptions& options = {}, const Context& context = {});

// How coordinates are written. The rounding of floats is half a unit in the last place of
// the largest coordinate, less the offset. Lists of points are exact in any case.
enum class Precision : std::uint8_t {
    // As floats, unless their rounding is more than a thousandth of the spacing. Then
    // PLY, OBJ and OFF get doubles; STL and glTF, which have none, get middleOffset()
    // subtracted if none is given, and a warning tells it.
    AUTO,
    // As floats; a warning tells a rounding of more than a hundredth of the spacing.
    SINGLE,
    // As doubles: 8 bytes in PLY, all digits in text. An ArgumentError for binary STL
    // and glTF.
    DOUBLE,
};

struct WriteOptions {
    Precision precision = Precision::AUTO;
    // What rounding is measured against, in world units. 0: of a mesh the average length
    // of the sides of its triangles, of points the longest side of the box of most of them
    // over the root of their number.
    double spacing = 0.0;
    // Text where the format has both forms (PLY, STL).
    bool text = false;
    // Of meshes: normals of the vertices, the mean of those of their triangles by area (PLY, OBJ,
    // glTF). Of points: those of the file that is written, where it has some (PLY, text). An
    // ArgumentError for other formats.
    bool normals = false;
    // Subtracted from all coordinates, so that floats can hold those that are far
    // from the origin. Stands in the file, if it is not 0, as a comment "offset X Y Z"
    // (PLY, OBJ, OFF), or as translation of the node and under asset.extras.offset (glTF);
    // STL and lists have no place for it.
    Vector3 offset = {};
    // Further comments, a line each (PLY, OBJ, OFF).
    std::vector<std::string> comments = {};
};

// How a file was written.
struct WriteResult {
    bool doubles = false;  // coordinates have all their digits
    Vector3 offset = {};   // subtracted from all coordinates: that of the options, or what AUTO took
};

// A mesh as
//   .ply   binary, or text; colours if any vertex has one
//   .obj   colours after the coordinates, 0 to 1, if any vertex has one
//   .stl   binary, or text; no colours
//   .off   COFF with colours 0 to 1 if any vertex has one, else OFF
//   .glb   glTF 2.0 in one binary file; the axes stay as they are; colours become
//          linear, as that format wants them
// Vertices are those of triangles, by first use. A vertex without colour in a mesh
// with colours becomes grey. Coordinates in text have the fewest digits that read
// back as the same float or double, in STL ten. FileError also for what the format cannot hold (4 GiB
// in glTF, 2^32 triangles in STL, coordinates in glTF that no float holds), ArgumentError
// for another ending.
ZEF_API WriteResult write(const std::filesystem::path& path, const TriangleMesh& mesh, const WriteOptions& options = {},
                          const Context& context = {});

// Points as
//   .ply                       binary; red green blue alpha if any point has colour
//   .xyz .txt .asc .pts .csv   x y z a line, so that doubles read back the same, then
//                              red green blue if any point has colour; .csv with commas
//   .bin                       as readPoints() reads it: no colour
//   .las                       1.2, or 1.4 for more than 2^32 points; whole numbers times a power
//                              of ten below a thousandth of the spacing
//   .pcd                       0.7, binary; colours
// Where some points have colour, the others are written white. ArgumentError for
// another ending.
ZEF_API WriteResult write(const std::filesystem::path& path, std::span<const Point3> points,
                          const WriteOptions& options = {}, const Context& context = {});

// The same of points with what belongs to them, as far as the format holds it: LAS classes and
// intensities, the others normals by request. ArgumentError where these are not as many as points.
ZEF_API WriteResult write(const std::filesystem::path& path, const PointFile& file, const WriteOptions& options = {},
                          const Context& context = {});

// An offset in round numbers near the middle of all finite points, or of the vertices of
// triangles: multiples of the power of ten below the longest side of their box. O(n).
ZEF_API Vector3 middleOffset(std::span<const Point3> points);
ZEF_API Vector3 middleOffset(const TriangleMesh& mesh);

// Line segments as a Geomview LIST, such as the borders of a mesh.
ZEF_API void writeSegments(const std::filesystem::path& path, std::span<const Point3> ends,
                           const Context& context = {});

// What an ending stands for.
struct FileFormat {
    bool readsPoints = false, readsMeshes = false, writesPoints = false, writesMeshes = false;
    bool hasDoubles = false;     // of meshes, see Precision
    bool alwaysDoubles = false;  // of points
};
ZEF_API FileFormat formatOf(const std::filesystem::path& path);

// A format that the library knows.
struct FormatInfo {
    std::string name;                  // for people: "LAS"
    std::vector<std::string> endings;  // in small letters, with the dot
    bool readsPoints = false, readsMeshes = false, writesPoints = false, writesMeshes = false;
    std::string keeps;  // beside coordinates, when reading: "colours, normals"
};
// All of them, those for points first.
ZEF_API std::vector<FormatInfo> fileFormats();

}  // namespace QUOR_ZEF
