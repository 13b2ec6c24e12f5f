#include "refine/RPatch.h"

namespace QUOR_ZEF {

namespace {

unsigned numMade = 0;  // in the process; wraps around

}  // namespace

RPatch::RPatch(RMesh* pRMesh_) : id(static_cast<int>(++numMade)), pRMesh(pRMesh_) {}

}  // namespace QUOR_ZEF
