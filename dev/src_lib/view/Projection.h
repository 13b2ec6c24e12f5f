#pragma once

#include <cmath>
#include <cstdint>

#include "view/Camera.h"
#include "zef/Point3.h"
#include "zef/view.h"

namespace QUOR_ZEF {

// A place in the picture: x to the right and y down in units of 1/256 sample, so that edges
// are decided without rounding; z to the viewer in samples.
struct Spot {
    static constexpr std::int32_t unit = 256;
    static constexpr std::int32_t nowhere = INT32_MIN;  // x of what is not finite

    std::int32_t x = nowhere, y = nowhere;
    float z = 0.0F;

    bool isSomewhere() const { return x != nowhere; }
};

// Where a position of the world lies in a picture without perspective, which holds all of
// the scene with a margin around it.
class Projection {
public:
    // Reads all corners of triangles and all points, on all threads.
    Projection(const ViewScene& scene, const DrawOptions& options);

    Spot operator()(const Point3& p) const;
    const Camera& getCamera() const { return camera; }
    double getScale() const { return scale; }  // samples per world unit

private:
    Camera camera;
    Vector3 middle;  // of the scene, in the camera's axes
    double scale = 1.0;
    double centreX = 0.0, centreY = 0.0;  // of the picture, in samples
};

}  // namespace QUOR_ZEF
