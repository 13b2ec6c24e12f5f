#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>
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

struct PageOptions {
    std::string title = "zef";                                     // plain text
    std::vector<std::string> names = {};                           // of the meshes, where there are some
    std::vector<std::pair<std::string, std::string>> report = {};  // lines to stand beside the picture: what, how much
    bool yUp = false;                                              // y is up instead of z
    std::size_t maxTriangles = 3'000'000;  // of a mesh; one with more is shown coarser, which a warning tells
    std::size_t maxPoints = 3'000'000;     // the same, by leaving out points evenly
};

// An HTML page that shows the scene in any browser with WebGL 2 and needs no network, as one
// text. bundle: the script of the page, which is built from the folder page/ and installed as
// share/zef/page.js. It shows meshes and points, borders and pieces; of points beside meshes
// also how far they are from the first two, and which vertices lie farther than three triangle sides
// from all points. Positions are rounded to a thirty-second of the mean side of the triangles or
// 2^-16 of the extent, whichever is finer, but not beyond 2^-24 of it.
//
// ArgumentError as for draw(), and for a bundle that is no script. A million triangles take
// about a second and 5 MB of text, a million distances about two.
ZEF_API std::string makePage(const ViewScene& scene, std::string_view bundle, const PageOptions& options = {},
                             const Context& context = {});

// What makePage() has made as a file, whole or not at all. FileError if it cannot be written.
ZEF_API void writePage(const std::filesystem::path& path, std::string_view html, const Context& context = {});

}  // namespace QUOR_ZEF
