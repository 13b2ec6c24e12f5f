#pragma once

#include "formats/PointStream.h"

namespace QUOR_ZEF {

// Points of the formats that are otherwise read as a whole, a part at a time: for files larger
// than memory of which some points are wanted, or what stands before a fault. What only all
// points together tell, as whether three numbers are a colour, is looked for first.

// Text with a point on each line; Pts: see TextReader.
std::unique_ptr<PointStream> openText(const InputFile& file, const PointChoice& choice);
std::unique_ptr<PointStream> openPts(const InputFile& file, const PointChoice& choice);

// The vertices of PLY. Null where they hold lists, or stand behind elements that do; in text each
// has to stand on a line of its own.
std::unique_ptr<PointStream> openPly(const InputFile& file, const PointChoice& choice);

inline constexpr const char* oneScanOnly = "there is one scan only, number 0";
inline constexpr const char* noTrianglesNote = "Triangles are left out; only points are taken.";

}  // namespace QUOR_ZEF
