#pragma once

#include <cstddef>
#include <cstdint>

namespace QUOR_ZEF {

// Points in memory of any layout. Borrowed for the call.
struct PointView {
    const double* xyz = nullptr;           // of the first point
    std::size_t count = 0;                 // points
    std::size_t stride = 3;                // from point to point, in doubles; at least 3
    const std::uint8_t* colors = nullptr;  // red green blue alpha of the first point; null for none
    std::size_t colorStride = 4;           // from point to point, in bytes; at least 4
    const double* normals = nullptr;       // x y z of the first point, see reconstruct(); null for none
    std::size_t normalStride = 3;          // from point to point, in doubles; at least 3
};

}  // namespace QUOR_ZEF
