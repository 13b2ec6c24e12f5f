#pragma once

#include <vector>

#include "zef/Mesh.h"
#include "zef/Point3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// The version of the library that the program runs with, which can be a later
// one than that of the headers. All four may be called from any thread.
ZEF_API void getVersion(int& major, int& minor);

// One line on standard output, the minor number with two digits: "ZEF, version 1.13".
ZEF_API void printVersion();

// Whether this is a released build, without parts under test. Two names of one answer: true.
ZEF_API bool isPure();
ZEF_API bool isRelease();

// The spacing of the surface samples, in the cloud's unit of length, as the grid of
// reconstruct_auto with factor 1 would use it; -1 for a cloud without finite points,
// which is told on standard output. A cloud whose points all coincide throws
// ZefBugException. The points are not changed. Prepares the cloud like a
// reconstruction, about a microsecond a point and thread.
ZEF_API double estimateAvgSpacing(std::vector<Point3>& vPoints);

// Forgets what the first run of the process settles for all later ones: the least
// area on which a local plane is fitted, a 25th of its squared spacing. For
// programs that reconstruct clouds of different scales one after the other; not
// while a run is going on.
ZEF_API void resetProcessState();

}  // namespace QUOR_ZEF
