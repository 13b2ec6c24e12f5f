#pragma once

#include <stdexcept>

#include "zef/export.h"

namespace QUOR_ZEF {

// What the calls with a Context throw. what() says what is wrong and what to do about
// it, in a line without an end. The library is usable afterwards, nothing is held, and
// what the caller gave is as it was unless the call says otherwise.
//
// A lack of memory stays std::bad_alloc, and what a function of the caller throws (one
// of a Context, or a licence policy) leaves the call as it is.
struct ZEF_API Error : std::runtime_error {
    using std::runtime_error::runtime_error;
    ~Error() override;
};

// An argument, or an input as a whole, means nothing: names the argument.
struct ZEF_API ArgumentError : Error {
    using Error::Error;
    ~ArgumentError() override;
};

// There is nothing to make a surface of, or none came out.
struct ZEF_API NoSurfaceError : Error {
    using Error::Error;
    ~NoSurfaceError() override;
};

// A file cannot be read or written: begins with its name.
struct ZEF_API FileError : Error {
    using Error::Error;
    ~FileError() override;
};

// More than the numbers or the memory of the library cover.
struct ZEF_API TooLargeError : Error {
    using Error::Error;
    ~TooLargeError() override;
};

// The progress function of the Context has answered false.
struct ZEF_API CancelledError : Error {
    using Error::Error;
    ~CancelledError() override;
};

// The licence policy has refused the call: names the gate.
struct ZEF_API LicenseError : Error {
    using Error::Error;
    ~LicenseError() override;
};

// An inconsistency inside the library, with the place and the condition. Please report it.
struct ZEF_API InternalError : Error {
    using Error::Error;
    ~InternalError() override;
};

}  // namespace QUOR_ZEF
