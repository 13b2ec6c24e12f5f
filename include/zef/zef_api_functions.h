#pragma once

#include <memory>
#include <vector>

#include "zef/Mesh.h"
#include "zef/Point3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// ---- from points to a mesh
//
// The older entries; see reconstruction.h for the newer ones, which take their
// surroundings with them and throw what went wrong. These share the process's threads,
// talk on standard output, and follow the calling thread's progress subscriber.
//
// Synchronous: a call runs on the caller's thread, borrows the library's workers
// for its parallel stretches, and returns a mesh, or null with a message when
// there is nothing to build (no finite point, or no cell survives). The points
// need no normals and are not changed; those that are not finite are left out
// with one warning. The same input gives the same mesh, bit for bit, if the same
// cloud is the first of the process: that one settles for all the least area on which
// a local plane is fitted, see resetProcessState(). Several threads may call at once; of
// several that begin after a start or a reset, whoever comes first settles it, which is
// anybody's guess. The newer entries have no such state.
// Throws ZefBugException for a spacing that cannot work (not positive, below what
// the coordinates resolve, too fine for the cloud's extent), with the cure on
// standard output; ZefLicenseException if a licence policy refuses; and whatever
// a progress subscriber throws to cancel.
// Cost: O(n log n); about 3 microseconds and 1 kB a point.

// With the spacing itself, in the cloud's unit of length, or with a factor on the
// measured one (1 to 1.5 suits most scans). bSmooth: one more pass of smoothing, for
// noisy scans. numGrowSteps: how far gaps are closed, in steps of about half a vertex
// distance from each side; 0 or fewer leave every gap open. Surface that filling adds
// beyond open rims stays.
ZEF_API std::shared_ptr<Mesh> reconstruct_abs(std::vector<Point3>& vPoints, bool bSmooth, double absSpacing,
                                              int numGrowSteps);
ZEF_API std::shared_ptr<Mesh> reconstruct_auto(std::vector<Point3>& vPoints, bool bSmooth, double spacingFactor,
                                               int numGrowSteps);

// The version of the library that the program runs with, which can be a later
// one than that of the headers. All four may be called from any thread.
ZEF_API void getVersion(int& major, int& minor);

// One line on standard output, the minor number with two digits: "ZEF, version 1.13".
ZEF_API void printVersion();

// Whether this is a released build, without parts under test. Two names of one answer: true.
ZEF_API bool isPure();
ZEF_API bool isRelease();

// ---- from triangles to a mesh, or back to points
//
// vPoints: triangle corners, three to a triangle, in any order and orientation;
// they may overlap, repeat and not fit together. Not changed; triangles with a
// corner that is not finite are left out with one warning. absSpacing: edge of a
// grid cell, in their unit of length. featureAngle: degrees; edges whose triangles
// meet at that angle or more, between the normals, stay sharp; 361 for none.
// Throws as above, also for a number of corners that is no multiple of three.

// The surface of the triangles as one mesh with vertices at about that distance;
// null with a message if there is nothing to mesh.
ZEF_API std::shared_ptr<Mesh> melt(std::vector<Point3>& vPoints, double absSpacing, double featureAngle);

// Appends to vOut one point of the surface for each grid cell that it touches, in
// a fixed order. vOut must not be vPoints.
ZEF_API void toCloud(std::vector<Point3>& vPoints, double absSpacing, double featureAngle, std::vector<Point3>& vOut);

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
