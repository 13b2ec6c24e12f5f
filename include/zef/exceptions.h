#pragma once

#include <exception>

#include "zef/export.h"

namespace QUOR_ZEF {

// Thrown when the library meets an inconsistency, or is called with arguments
// that mean nothing. What failed, and where, stands on standard output.
// The library is usable afterwards: what the failed call held is freed.
struct ZEF_API ZefBugException : public std::exception {
    const char* what() const noexcept override;
};

// Thrown when a licence policy refuses a call (see License.h).
struct ZEF_API ZefLicenseException : public std::exception {
    const char* what() const noexcept override;
};

}  // namespace QUOR_ZEF
