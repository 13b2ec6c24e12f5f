#include "api/calls.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace QUOR_ZEF {

namespace {

std::string ofTriangle(std::size_t i) {
    return " of triangle " + std::to_string(i / 3);
}

std::string numberText(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

}  // namespace

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

void checkRange(const TriangleMesh& mesh, const std::string& name) {
    const std::vector<std::uint32_t>& indices = mesh.indices;
    if (indices.size() % 3 != 0)
        throw ArgumentError(name + ".indices: " + std::to_string(indices.size()) +
                            " indices are no multiple of three; give three for each triangle");
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (indices[i] >= mesh.vertices.size())
            throw ArgumentError(name + ".indices: index " + std::to_string(indices[i]) + ofTriangle(i) +
                                " means no vertex; there are " + std::to_string(mesh.vertices.size()));
    }
}

void checkIndices(const TriangleMesh& mesh, const std::string& name) {
    checkRange(mesh, name);
    const std::vector<std::uint32_t>& indices = mesh.indices;
    for (std::size_t i = 0; i < indices.size(); i += 3) {
        if (indices[i] != indices[i + 1] && indices[i + 1] != indices[i + 2] && indices[i + 2] != indices[i]) continue;
        throw ArgumentError(name + ".indices: a vertex comes twice among the corners" + ofTriangle(i) +
                            "; leave such triangles out");
    }
}

void checkMesh(const TriangleMesh& mesh, const std::string& name) {
    checkIndices(mesh, name);
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        if (isFinite(mesh.vertices[mesh.indices[i]])) continue;
        throw ArgumentError(name + ".vertices: vertex " + std::to_string(mesh.indices[i]) + ofTriangle(i) +
                            " has no finite position");
    }
}

void checkView(const PointView& view) {
    if (view.count == 0) return;
    if (!view.xyz) throw ArgumentError("points.xyz is null, with a count of " + std::to_string(view.count));
    if (view.stride < 3) throw ArgumentError("points.stride must be 3 or more doubles");
    if (view.colors && view.colorStride < 4) throw ArgumentError("points.colorStride must be 4 or more bytes");
    if (view.normals && view.normalStride < 3) throw ArgumentError("points.normalStride must be 3 or more doubles");
}

void checkSpan(std::span<const Point3> points, const std::string& name) {
    if (!points.data() && !points.empty()) throw ArgumentError(name + " is null, with a size");
}

void checkOption(const char* name, double value, double low, double high) {
    if (std::isfinite(value) && value >= low && value <= high) return;
    const bool bAbove = low == std::numeric_limits<double>::min();
    const std::string range = std::isfinite(high) ? "from " + numberText(low) + " to " + numberText(high)
                              : bAbove            ? "a finite number above 0"
                                                  : "a finite number of " + numberText(low) + " or more";
    throw ArgumentError(std::string(name) + " is " + numberText(value) + "; it must be " + range);
}

void rethrowAsError(Run& run) {
    try {
        throw;
    } catch (const BugReport& report) {
        if (!report.cure.empty()) throw ArgumentError(report.cure);
        throw InternalError(report.text + "; please report it");
    } catch (const ZefBugException&) {
        throw InternalError(run.getError() + "; please report it");
    } catch (const ZefLicenseException&) {
        throw LicenseError(run.getError());
    } catch (const std::length_error&) {
        throw TooLargeError("the input is larger than an array can be; cut it into parts");
    }
}

Context partOf(const Context& context, double from, double to) {
    Context part = context;
    if (context.progress)
        part.progress = [&context, from, to](const ProgressStep& step) {
            return context.progress({step.stage, step.tag, from + (to - from) * step.share});
        };
    return part;
}

}  // namespace QUOR_ZEF
