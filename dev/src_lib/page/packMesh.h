#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "page/PageData.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// A mesh of finite triangles as a page holds it: a JSON object, whose arrays lie in data. One of more than maxTriangles
// gets fewer, with a warning that names it; its lists and lines stay those of all. points: see findUnmeasured().
std::string packMesh(const TriangleMesh& mesh, const std::string& name, std::span<const Point3> points,
                     std::size_t maxTriangles, PageData& data);

}  // namespace QUOR_ZEF
