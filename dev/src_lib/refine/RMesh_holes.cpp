#include <utility>

#include "bytes/Visualizer3.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

bool RMesh::writeHoles(const std::string& name) const {
    std::vector<REdge*> vBorder;
    getDegN(1, vBorder);
    std::vector<std::pair<Point3, Point3>> vLines;
    vLines.reserve(vBorder.size());
    for (const REdge* pRE : vBorder) vLines.emplace_back(*pRE->p0, *pRE->p1);
    Visualizer3 list;
    list.addEdges(vLines);
    return list.write(name);
}

}  // namespace QUOR_ZEF
