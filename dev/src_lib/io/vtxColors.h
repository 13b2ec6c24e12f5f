#pragma once

#include <cstdint>
#include <vector>

namespace QUOR_ZEF::PLY {

struct VtxColor {
    float red = 0.f, green = 0.f, blue = 0.f, alpha = 0.f;
};

// Brings colours into 0 to 255: by the factor 255 if none of red, green and blue
// is above 1, by 255 / largest if one is above 255, rounded down. Alpha goes
// through the same factor; an alpha above 255 only sees to it that all values are
// rounded down. Fails an ASSEX on an empty vector.
void adaptTo255(std::vector<VtxColor>& vColors);

// Cuts off the fraction and keeps the low byte; 0 for nan and infinity.
std::uint8_t lowByte(double value);

}  // namespace QUOR_ZEF::PLY
