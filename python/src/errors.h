#pragma once

#include "zef/errors.h"

namespace zefpy {

// An argument of another type than it has to be.
struct WrongType : QUOR_ZEF::ArgumentError {
    using ArgumentError::ArgumentError;
};

// From now on, what the library throws reaches Python as the classes of the module zef._errors.
void translateErrors();

}  // namespace zefpy
