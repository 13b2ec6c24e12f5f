#pragma once

#include <pybind11/pybind11.h>

namespace zefpy {

// Adds the steps of a job of tiles.
void bindTiles(pybind11::module_& module);

}  // namespace zefpy
