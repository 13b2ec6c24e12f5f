#pragma once

// Marks what the library exports; everything else stays hidden.
#if defined(__GNUC__) || defined(__clang__)
#define ZEF_API __attribute__((visibility("default")))
#else
#define ZEF_API
#endif

namespace QUOR_ZEF {}

// The short name that callers write: zef::Point3 is QUOR_ZEF::Point3.
namespace zef = QUOR_ZEF;
