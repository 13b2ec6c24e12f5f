#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace QUOR_ZEF {

// The name of a coordinate system in the text of OGC ("WKT"): its first quoted text.
std::string nameInWkt(std::string_view text);

// What the keys of GeoTIFF (record 34735) name, with their texts (record 34737): a code of EPSG,
// or else a citation. Empty if they name nothing.
std::string nameInGeoKeys(std::span<const char> keys, std::string_view texts);

}  // namespace QUOR_ZEF
