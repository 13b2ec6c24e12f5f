#include "zef/errors.h"

namespace QUOR_ZEF {

// One place for their tables, so that the types are the same in the library and its users.
Error::~Error() = default;
ArgumentError::~ArgumentError() = default;
NoSurfaceError::~NoSurfaceError() = default;
FileError::~FileError() = default;
TooLargeError::~TooLargeError() = default;
CancelledError::~CancelledError() = default;
LicenseError::~LicenseError() = default;
InternalError::~InternalError() = default;

}  // namespace QUOR_ZEF
