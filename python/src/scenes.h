#pragma once

#include <pybind11/pybind11.h>

namespace zefpy {

// Adds the functions that show meshes and points: pages and pictures.
void bindScenes(pybind11::module_& module);

}  // namespace zefpy
