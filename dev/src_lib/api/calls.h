#pragma once

#include <new>
#include <span>
#include <stdexcept>
#include <string>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "zef/Context.h"
#include "zef/PointView.h"
#include "zef/TriangleMesh.h"
#include "zef/errors.h"
#include "zef/files.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// Whether all coordinates are.
bool isFinite(const Point3& p);

// Throws an ArgumentError if three does not divide the indices, or one of them means no
// vertex. name: of the argument. O(n).
void checkRange(const TriangleMesh& mesh, const std::string& name = "mesh");
// The same, and if a triangle repeats a vertex.
void checkIndices(const TriangleMesh& mesh, const std::string& name = "mesh");
// The same, and if a vertex of a triangle has no finite position.
void checkMesh(const TriangleMesh& mesh, const std::string& name = "mesh");
// Throws an ArgumentError for a null pointer or a stride that is too small.
void checkView(const PointView& view);
void checkSpan(std::span<const Point3> points, const std::string& name = "points");
// Throws an ArgumentError with the name of the option unless it is a finite number from
// low to high.
void checkOption(const char* name, double value, double low, double high);
// Throws an ArgumentError for what cannot work.
void checkReading(const ReadOptions& options);

// That of one of several runs that make up a call; tells progress as this share of it. Borrows the context.
Context partOf(const Context& context, double from, double to);

// Throws in the words of the family of Error what ended the call inside. The exception
// that is being handled.
[[noreturn]] void rethrowAsError(Run& run);

// Runs fn in the surroundings. What it throws becomes one of the family of Error, but for
// std::bad_alloc and what functions of the caller threw.
template <class Fn>
auto runCall(const Context& context, const Fn& fn) {
    Run run(context);
    const RunScope scope(run);
    try {
        return fn();
    } catch (const ZefBugException&) {
        rethrowAsError(run);
    } catch (const ZefLicenseException&) {
        rethrowAsError(run);
    } catch (const std::length_error&) {
        rethrowAsError(run);
    }
}

}  // namespace QUOR_ZEF
