#pragma once

#include "zef/Mesh.h"
#include "zef/export.h"
#include "zef/meshCheck.h"
#include "zef/meshFiles.h"

namespace QUOR_ZEF {

// The version of the library that the program runs with, which can be a later
// one than that of the headers. All four may be called from any thread.
ZEF_API void getVersion(int& major, int& minor);

// One line on standard output, the minor number with two digits: "ZEF, version 1.13".
ZEF_API void printVersion();

// Whether this is a released build, without parts under test. Two names of one answer: true.
ZEF_API bool isPure();
ZEF_API bool isRelease();

}  // namespace QUOR_ZEF
