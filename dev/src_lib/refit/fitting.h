#pragma once

#include <cstddef>
#include <vector>

#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// Steps of refitting a part of a surface. All are gathers over the triangles that share a vertex with
// one, the rings of the part; parallel, and the same for any number of threads.

// How a face is fitted.
struct FaceFit {
    float numSweeps = 0.0F;  // of the filter of normals, as a rule
    float radius = 0.0F;     // world units, see fitOffsets()
    float ownShare = 0.0F;   // likewise
};

// Bilateral filter of the surface's normals: Y. Zheng et al., Bilateral normal filtering for mesh
// denoising, 2011. In each sweep a face takes the mean of its neighbours' normals by area and
// by how little they differ; from 2 sin(angle / 2) = 2 sigma on they do not count. Areas stay.
// vNumSweeps: by position in the part. Some 40 nanoseconds a triangle and sweep.
void filterNormals(RefitSurface& surface, const RefitPart& part, const FaceRings& rings,
                   const std::vector<float>& vNumSweeps, double sigma);

// How far to move each face along its normal, which must be filtered, so that it lies in the
// middle of its points.
struct FaceOffsets {
    std::vector<float> vOffsets;  // by triangle, world units; 0 beyond the part, and where there are no points around
};
// A point counts by how far its own face lies within the radius, and by how well that one's
// normal agrees. Its distance is that from the plane of the face that asks; if bOwn, to the share of that one,
// that from the plane of its own: what curves is then moved along as it is, not into the
// middle of its bow, but it must be smooth already.
FaceOffsets fitOffsets(const RefitSurface& surface, const RefitPart& part, const FaceRings& rings,
                       const FacePoints& points, const std::vector<FaceFit>& vFits, double sigma, bool bOwn);

// Vertices go to where the squares of their distances from the planes of their faces, moved by the
// offsets, are least in sum, and so to the creases and corners where these meet; held back where the
// planes do not tell. A step at a time: X. Sun et al., Fast and effective feature-preserving mesh denoising,
// 2007. No vertex ends up farther than maxMove from its place in vOld.
void moveOntoPlanes(RefitSurface& surface, const RefitPart& part, const FaceOffsets& offsets,
                    const std::vector<Vector3>& vOld, double maxMove, int numSteps);

}  // namespace QUOR_ZEF
