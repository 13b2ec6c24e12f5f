#pragma once

#include <stdexcept>

namespace QUOR_ZEF {

// A file that cannot be read. what(): place, fault and cure, without the name of the file.
struct LoadError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What does not fit into the format of a file, or cannot be written. what(): without the name of the file.
struct SaveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace QUOR_ZEF
