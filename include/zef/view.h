#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "zef/Context.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"
#include "zef/errors.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Meshes and points to look at, together in one place. Borrowed for the call. What has a
// coordinate that is not finite is left out.
struct ViewScene {
    std::vector<const TriangleMesh*> meshes;  // no triangle may repeat a vertex
    std::span<const Point3> points;
};

// Where the viewer stands, with z up: LEFT sees along x, RIGHT against it, FRONT along y.
// ISO stands in front, to the right and above.
enum class ViewFrom : std::uint8_t { ISO, FRONT, BACK, LEFT, RIGHT, TOP, BOTTOM };

struct DrawOptions {
    std::uint32_t width = 1600, height = 1200;  // pixels, 16 to 16384 each
    ViewFrom from = ViewFrom::ISO;
    bool yUp = false;         // y is up instead of z, and FRONT sees against z
    bool smooth = true;       // the light changes across triangles, not at their edges
    bool colors = true;       // those of vertices and points; else one for each mesh
    bool borders = true;      // border edges and non-manifold edges as lines
    double pointSize = 0.0;   // pixels; 0: by their number
    std::uint32_t finer = 2;  // samples a pixel in each direction, 1 to 4
};

// Rows from the top, red green blue alpha of each pixel; alpha is 255.
struct Image {
    std::uint32_t width = 0, height = 0;
    std::vector<std::uint8_t> rgba;
};

// Draws the scene as large as it fits, without perspective: front sides of triangles in one
// colour, or in those of their vertices, and back sides in another; points without colour
// by their height where there is no mesh. The same bytes for any
// number of threads. An empty scene gives the background. ArgumentError for options out of
// their range and meshes whose indices mean nothing, TooLargeError for more than 2^32 - 2
// triangles, lines and points together. On all threads; O(n), and 40 bytes a vertex and 8 a
// triangle meanwhile.
ZEF_API Image draw(const ViewScene& scene, const DrawOptions& options = {}, const Context& context = {});

// A PNG file without alpha, whole or not at all. FileError if it cannot be written,
// ArgumentError for an image without pixels.
ZEF_API void writePng(const std::filesystem::path& path, const Image& image, const Context& context = {});

}  // namespace QUOR_ZEF
