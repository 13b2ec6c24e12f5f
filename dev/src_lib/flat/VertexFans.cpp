#include "flat/VertexFans.h"

#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

VertexFans::VertexFans(const std::vector<std::uint32_t>& vTriples, std::size_t numVertices)
    : vStart(numVertices + 1), vTriangles(vTriples.size()) {
    ASSEX(vTriples.size() < 0xffffffffu);
    for (std::size_t side = 0; side < vTriples.size(); ++side) {
        pollRun(side);
        ++vStart[vTriples[side]];
    }
    std::uint32_t begin = 0;
    for (std::uint32_t& start : vStart) start = begin += start;
    // Backwards from the ends, so that each start comes to stand where it belongs.
    for (std::size_t side = vTriples.size(); side-- > 0;) {
        pollRun(side);
        vTriangles[--vStart[vTriples[side]]] = static_cast<std::uint32_t>(side / 3);
    }
}

}  // namespace QUOR_ZEF
