#include "refit/refitMesh.h"

namespace QUOR_ZEF {

RefitReport refitMesh(TriangleMesh& /*mesh*/, const PointSource& /*points*/, const RefitOptions& /*options*/) {
    return {};
}

}  // namespace QUOR_ZEF
