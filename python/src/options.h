#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "zef/compare.h"
#include "zef/files.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"
#include "zef/refinement.h"
#include "zef/tiles.h"
#include "zef/view.h"

// The options of the library as keyword arguments: the names, types and defaults of C++,
// written in the way of Python. An option added to a structure wants one line here, and
// one in the type stubs.

namespace zefpy {

namespace zef = QUOR_ZEF;

struct Option {
    using Place = std::variant<bool*, int*, std::uint32_t*, std::size_t*, double*, zef::Density*, zef::Precision*,
                               zef::ViewFrom*, std::optional<zef::Point3>*, zef::Vector3*, std::string*,
                               std::vector<std::string>*, std::vector<std::uint8_t>*, std::optional<std::uint32_t>*,
                               std::optional<std::array<zef::Point3, 2>>*, std::array<int, 3>*>;
    const char* name;     // in C++
    Place place;          // where its value lies; borrowed
    const char* meaning;  // with unit, for the docstrings
};
using Options = std::vector<Option>;

Options optionsOf(zef::ReconstructOptions& options);
Options optionsOf(zef::MeltOptions& options);
Options optionsOf(zef::ManifoldOptions& options);
Options optionsOf(zef::RefitOptions& options);
Options optionsOf(zef::ReduceOptions& options);
Options optionsOf(zef::ReduceFlatOptions& options);
Options optionsOf(zef::SmoothingOptions& options);
Options optionsOf(zef::ReadOptions& options);
Options optionsOf(zef::ReadMeshOptions& options);
Options optionsOf(zef::WriteOptions& options);
Options optionsOf(zef::CompareOptions& options);
Options optionsOf(zef::DrawOptions& options);
Options optionsOf(zef::PageOptions& options);
// Without those of reconstruction and reading that tiles do not have, or that make no difference there.
Options optionsOf(zef::TileOptions& options);

// Tuples (name, default, meaning) under the name of each structure.
pybind11::dict describeOptions();

// "growSteps" as "grow_steps"; a keyword of Python gets an underscore behind it.
std::string pythonName(const std::string& name);
// A text of the library with the names that its reader knows.
std::string inPythonWords(const std::string& text);

// Takes those values that are given under the names of Python. Throws an ArgumentError
// that names the argument for what cannot be its value, a WrongType for what is none.
void readOptions(const Options& options, const pybind11::dict& given);

template <class T>
T readOptions(const pybind11::dict& given) {
    T values;
    readOptions(optionsOf(values), given);
    return values;
}

// The same for an argument that is no option.
void readArgument(const Option& argument, const pybind11::handle& value);

}  // namespace zefpy
