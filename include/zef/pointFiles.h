#pragma once

#include <string>
#include <vector>

#include "zef/Point3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Files of points. All functions here run on the calling thread and answer
// false for a file that cannot be read or written, with one line on the standard
// streams. Readers append to vPoints, and leave it alone when they answer false.
// A reader takes at most 16 times the size of the file and 1 MiB of memory,
// whatever the file claims. A written file appears whole or not at all: on
// failure what stood under the name is untouched. The locale plays no part.

// What the ending of a name tells, in exactly these spellings.
enum FileType {
    FT_STL = 0,       // .stl .STL .Stl
    FT_PLY = 1,       // .ply .PLY .Ply
    FT_ASCII = 2,     // .xyz .XYZ .Xyz .txt .TXT .Txt .asc .ASC .Asc
    FT_BIN = 3,       // .bin .BIN .Bin
    FT_GEOMVIEW = 4,  // .list .LIST .List
    FT_UNKNOWN = 5,   // anything else
};

// A name of fewer than four characters throws std::out_of_range, and so does one
// of exactly four that is no ending of the table.
ZEF_API FileType getFileType(const std::string& name);

// One point a line: three numbers apart by blanks; what follows them is ignored,
// and a line that does not start with three numbers is skipped without a word.
ZEF_API bool readPoints_ASCII(const char* name, std::vector<Point3>& vPoints);

// Little-endian: int32 type (30, or 20 for points without z), int64 count, then
// the coordinates as doubles. A count of 0 or below gives no points and true.
// A file shorter than its count is filled up with points of zeros and still
// gives true, as long as that stays within the bound of memory; a count beyond
// it gives false.
ZEF_API bool readPoints_BIN(const char* name, std::vector<Point3>& vPoints);

// By getFileType: readPly, readPoints_ASCII or readPoints_BIN. Any other name,
// one of an STL file too, gives false.
ZEF_API bool readPoints_auto(std::string& name, std::vector<Point3>& vPoints);

// One point a line with 18 significant digits; no colour.
ZEF_API bool writePoints_ASCII(const char* name, const std::vector<Point3>& vPoints);

// The form that readPoints_BIN reads, type 30.
ZEF_API bool writePoints_BIN(const char* name, const std::vector<Point3>& vPoints);

// By getFileType: PLY (as text if bAscii), ASCII list, binary list or Geomview
// list. For any other name a PLY file is written under the name as it stands,
// whatever the message says, and the answer is false.
ZEF_API bool writePoints_auto(std::string& name, std::vector<Point3>& vPoints, bool bAscii);

// PLY, as text or in either byte order. Points as they stand in the file, or, if
// bPointsOnly is false, three corners for each triangle of its faces; faces of
// more corners give a fan, a file without faces gives no points.
//
// Coordinates are of type int, float or double; those of type int are taken as
// unsigned, so negative ones come out large. Points have colour only if the
// vertices have red, green, blue and beside them alpha or scalar_Intensity, which
// goes into the alpha byte; without either the colours are dropped. Colours of
// type float or double lose their fraction, so 0 to 1 is not 0 to 255. Triangle
// corners have no colour, with a warning when the file has some.
ZEF_API bool readPly(const char* name, bool bPointsOnly, std::vector<Point3>& vPoints);

// PLY with coordinates narrowed to float and without colour, as text or as
// little-endian binary. Says on standard output how many points it got.
ZEF_API bool writePointsPly(const std::string& name, std::vector<Point3>& vPoints, bool bAscii);

// The corners of the triangles, three each, without colour. A facet starts at a
// line with "outer loop" or "OUTER LOOP"; "vertex" and "endloop" are known in
// small letters only. The number of corners of a facet is not checked, and a
// number that cannot be read is 0. A file without facets gives no points and true.
ZEF_API bool readSTL_ASCII(const char* name, std::vector<Point3>& vPoints);

}  // namespace QUOR_ZEF
