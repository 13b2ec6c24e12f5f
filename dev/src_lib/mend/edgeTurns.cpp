#include "mend/edgeTurns.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

void sortByAngle(const TriangleMesh& mesh, const Patches& patches, const Edge& edge, std::vector<EdgeTurn>& vTurns) {
    const auto [a, b] = edge.ends();
    const Point3& origin = mesh.vertices[a];
    const Vector3 axis = normalize(mesh.vertices[b] - origin);
    Vector3 xAxis, yAxis;
    vTurns.clear();
    for (const auto& [high, side] : edge.sides) {
        const Vector3 arm = mesh.vertices[mesh.indices[previousSide(side)]] - origin;
        if (xAxis.isDegenerate()) {
            Vector3 upright = arm;
            upright -= axis * (arm * axis);
            xAxis = normalize(upright);
            yAxis = cross(axis, xAxis);
        }
        const double angle = std::atan2(arm * yAxis, arm * xAxis);
        const bool bForward = (mesh.indices[side] == a) != patches.isFlipped(side / 3);
        vTurns.push_back({std::isnan(angle) ? 0.0 : angle, side, bForward});
    }
    std::sort(vTurns.begin(), vTurns.end(), [](const EdgeTurn& s, const EdgeTurn& t) {
        return std::tie(s.angle, s.side) < std::tie(t.angle, t.side);
    });
}

}  // namespace QUOR_ZEF
