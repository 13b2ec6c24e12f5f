#include "zef/view.h"

#include "api/calls.h"
#include "page/makePage.h"
#include "view/drawScene.h"
#include "view/png.h"

namespace QUOR_ZEF {

namespace {

void checkScene(const ViewScene& scene) {
    for (const TriangleMesh* const pMesh : scene.meshes) {
        if (!pMesh) throw ArgumentError("scene.meshes: a pointer is null");
        checkIndices(*pMesh, "scene.meshes");
    }
    checkSpan(scene.points, "scene.points");
}

void checkPage(const ViewScene& scene, std::string_view bundle, const PageOptions& options) {
    checkScene(scene);
    if (bundle.empty() || bundle.find("</script") != std::string_view::npos)
        throw ArgumentError("bundle: is not the script of the page; read share/zef/page.js");
    if (options.maxTriangles == 0 || options.maxPoints == 0)
        throw ArgumentError("maxTriangles and maxPoints must be 1 or more");
}

}  // namespace

Image draw(const ViewScene& scene, const DrawOptions& options, const Context& context) {
    constexpr double least = 16, most = 16384, largestPoint = 256, finest = 4;
    checkOption("width", options.width, least, most);
    checkOption("height", options.height, least, most);
    checkOption("pointSize", options.pointSize, 0.0, largestPoint);
    checkOption("finer", options.finer, 1, finest);
    if (options.from > ViewFrom::BOTTOM) throw ArgumentError("from is none of the directions");
    checkScene(scene);
    return runCall(context, [&] { return drawScene(scene, options); });
}

void writePng(const std::filesystem::path& path, const Image& image, const Context& context) {
    if (image.width == 0 || image.height == 0 || image.rgba.size() != std::size_t{4} * image.width * image.height)
        throw ArgumentError("image: it has no pixels, or not four bytes for each");
    runCall(context, [&] { savePng(path.string(), image); });
}

std::string makePage(const ViewScene& scene, std::string_view bundle, const PageOptions& options,
                     const Context& context) {
    checkPage(scene, bundle, options);
    return runCall(context, [&] { return pageOf(scene, bundle, options); });
}

void writePage(const std::filesystem::path& path, std::string_view html, const Context& context) {
    runCall(context, [&] { savePage(path.string(), html); });
}

}  // namespace QUOR_ZEF
