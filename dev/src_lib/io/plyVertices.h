#pragma once

#include <memory>

#include "io/PLY.h"
#include "zef/files.h"

namespace QUOR_ZEF {

struct PlyVertices;

// The largest values of colours that are not bytes: only all of them tell how bright they mean.
struct PlyBrightness {
    float color = 0.f, alpha = 0.f;
    void widen(const PlyVertices& vertices);
};

// What a PLY file says of its vertices; null: nothing.
struct PlyVertices {
    std::shared_ptr<PLY::PlyData> pXYZ, pRGB, pAlpha, pNormals;

    // To be filled by ply.read(). A LoadError if there are no coordinates.
    void request(PLY::PlyFile& ply);
    // brightness: of all vertices.
    void take(const PlyBrightness& brightness, PointFile& out) const;
};

// Format, comments, viewpoint, and a note of what is not read.
void takePlyHeader(const PLY::PlyFile& ply, PointFile& out);

}  // namespace QUOR_ZEF
