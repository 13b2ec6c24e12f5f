#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "bytes/AtomicFile.h"
#include "bytes/LoadError.h"
#include "zef/files.h"

namespace QUOR_ZEF {

// Points with what belongs to them: nothing, or one entry each. Borrowed.
struct CloudView {
    std::span<const Point3> points;
    std::span<const Vector3> normals = {};
    std::span<const std::uint8_t> classes = {};
    std::span<const float> intensities = {};
};

// How a format is written. Coordinates have the offset taken away already, and the precision is settled.
struct CloudWriter {
    // Throws a SaveError for what the format does not hold.
    void (*write)(AtomicFile& file, const CloudView& cloud, const WriteOptions& options) = nullptr;
    bool bHasFloats = false;   // else coordinates are exact in any case
    bool bHasNormals = false;  // if they are asked for
};

extern const CloudWriter plyCloud, textCloud, csvCloud, binCloud;

// See write(). Throws a FileError, and ArgumentError for normals that the format does not have. One thread, O(n).
WriteResult saveCloud(const std::string& path, const CloudWriter& writer, const CloudView& cloud,
                      const WriteOptions& options);

}  // namespace QUOR_ZEF
