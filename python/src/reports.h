#pragma once

#include <pybind11/pybind11.h>

#include "zef/compare.h"
#include "zef/files.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"
#include "zef/tiles.h"

// What calls found and did, as dicts with the names of C++ in the way of Python. A figure
// added to a structure wants one line here, and one in the type stubs.

namespace zefpy {

namespace zef = QUOR_ZEF;

// All but the mesh.
pybind11::dict reportOf(const zef::Reconstruction& made);
pybind11::dict reportOf(const zef::PointStatistics& found);
pybind11::dict reportOf(const zef::ManifoldReport& mended);
pybind11::dict reportOf(const zef::RefitReport& fitted);
pybind11::dict reportOf(const zef::UntangleReport& parted);
pybind11::dict reportOf(const zef::MeshReport& found);
pybind11::dict reportOf(const zef::HandleReport& found);
pybind11::dict reportOf(const zef::ThinReport& found);
pybind11::dict reportOf(const zef::WriteResult& written);
pybind11::dict reportOf(const zef::FormatInfo& format);
pybind11::dict reportOf(const zef::TileState& state);
// All but the arrays.
pybind11::dict reportOf(const zef::Comparison& made);
pybind11::dict reportOf(const zef::PointFile& file);
// All but the boxes and their counts.
pybind11::dict reportOf(const zef::TilePlan& plan);

}  // namespace zefpy
