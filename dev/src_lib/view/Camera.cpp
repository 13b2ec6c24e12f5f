#include "view/Camera.h"

#include <array>
#include <cstddef>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// With z up, by ViewFrom: where the viewer stands, and what is up in the picture.
struct Place {
    Vector3 back, up;
};
const std::array<Place, 7> places = {{
    {{1, -1, 1}, {0, 0, 1}},  // ISO
    {{0, -1, 0}, {0, 0, 1}},
    {{0, 1, 0}, {0, 0, 1}},
    {{-1, 0, 0}, {0, 0, 1}},
    {{1, 0, 0}, {0, 0, 1}},
    {{0, 0, 1}, {0, 1, 0}},
    {{0, 0, -1}, {0, -1, 0}},
}};

// What is up becomes y, and what was behind becomes -z.
Vector3 turned(const Vector3& v) {
    return {v.vx, v.vz, -v.vy};
}

}  // namespace

Camera cameraOf(ViewFrom from, bool bYUp) {
    const Place& place = places.at(static_cast<std::size_t>(from));
    Camera camera;
    camera.back = normalize(bYUp ? turned(place.back) : place.back);
    camera.right = normalize(cross(bYUp ? turned(place.up) : place.up, camera.back));
    camera.up = cross(camera.back, camera.right);
    return camera;
}

}  // namespace QUOR_ZEF
