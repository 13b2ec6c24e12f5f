#include "sampling/SNode.h"

#include "frame/tools.h"

namespace QUOR_ZEF {

const Vector3& SNode::getNNV() const {
    ASSEX(bHasPlane);
    return plane.normal;
}

Point3 SNode::projection(const Point3& p) const {
    ASSEX(bHasPlane);
    return plane.projection(p);
}

}  // namespace QUOR_ZEF
