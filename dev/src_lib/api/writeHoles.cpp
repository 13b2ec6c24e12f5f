#include "api/writeHoles.h"

#include <utility>
#include <vector>

#include "bytes/Visualizer3.h"
#include "flat/edgeLists.h"

namespace QUOR_ZEF {

bool writeHoles(const TriangleMesh& mesh, const std::string& name) {
    std::vector<std::pair<Point3, Point3>> vLines;
    for (const auto& [low, high] : findBorderEdges(mesh)) vLines.emplace_back(mesh.vertices[low], mesh.vertices[high]);
    Visualizer3 list;
    list.addEdges(vLines);
    return list.write(name);
}

}  // namespace QUOR_ZEF
