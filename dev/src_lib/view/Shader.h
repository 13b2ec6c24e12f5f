#pragma once

#include <array>
#include <cstdint>

#include "view/Model.h"

namespace QUOR_ZEF {

using Color = std::array<float, 3>;  // red green blue, 0 to 255, as they stand in files

// The colours of what shows at a sample. Borrows the scene and the model.
class Shader {
public:
    Shader(const ViewScene& scene, const DrawOptions& options, const Model& model);

    // Of a triangle, line or point, at a place of the picture that it covers.
    Color colorOf(std::uint32_t number, std::int64_t x, std::int64_t y) const;

private:
    const ViewScene& scene;
    const Model& model;
    const bool bPointColors;
    Vector3 up;                         // of points without colour and mesh, the height tells the colour:
    double lowest = 0.0, height = 0.0;  // 0 if there are meshes
    Vector3 key, fill, shine;           // directions of the lights, and of the mirror of the first

    Color colorOfTriangle(std::uint32_t number, std::int64_t x, std::int64_t y) const;
    Color colorOfPoint(const Point3& p) const;
    void measureHeight();
    Color lit(const Color& color, const Vector3& normal) const;
};

}  // namespace QUOR_ZEF
