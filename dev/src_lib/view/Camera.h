#pragma once

#include "zef/Vector3.h"
#include "zef/view.h"

namespace QUOR_ZEF {

// The three axes of a picture in the world: to the right, up, and to the viewer, each of
// length 1.
struct Camera {
    Vector3 right, up, back;

    Vector3 toView(const Vector3& v) const { return {v * right, v * up, v * back}; }
};

Camera cameraOf(ViewFrom from, bool bYUp);

}  // namespace QUOR_ZEF
