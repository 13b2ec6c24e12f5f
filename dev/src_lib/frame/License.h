#pragma once

#include "frame/types.h"

namespace QUOR_ZEF {

// Asks the licence state and the application's policy whether this call may go
// on. A refusal writes a line to standard output and throws ZefLicenseException.
void passLicenseGate(const char* gate, uint64 numPoints);

}  // namespace QUOR_ZEF
