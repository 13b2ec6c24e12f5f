#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/E57Fields.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Where a scanner stood: world = rotation * point + translation.
struct E57Pose {
    std::array<Vector3, 3> rows{Vector3(1, 0, 0), Vector3(0, 1, 0), Vector3(0, 0, 1)};  // of the rotation
    Vector3 translation;
};

// One scan as the XML part tells it. Nothing of it has been held against the file.
struct E57Scan {
    struct Limits {
        double lowest = 0.0, highest = 0.0;
    };

    std::string name, description;
    std::optional<E57Pose> pose;
    std::vector<E57Field> fields;  // of a record, in the order of the bytestreams
    std::array<std::optional<Limits>, 3> colorLimits;
    std::uint64_t physicalOffset = 0;  // of the section with the points
    std::uint64_t numRecords = 0;

    // Null if there is none of this name, or, if it begins with a colon, with this ending.
    const E57Field* find(std::string_view fieldName) const;
};

struct E57Content {
    std::vector<E57Scan> scans;
    std::string projection;  // empty if none is told
};

// Throws a LoadError for what is no such part.
E57Content parseE57(std::string xml);

}  // namespace QUOR_ZEF
