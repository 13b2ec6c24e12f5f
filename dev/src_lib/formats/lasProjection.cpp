#include "formats/lasProjection.h"

#include <algorithm>
#include <array>

#include "bytes/FileBytes.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxNameLength = 200;

// Up to a zero and without what would disturb a terminal.
std::string printable(std::string_view text) {
    std::string name(text.substr(0, std::min(text.find('\0'), maxNameLength)));
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    while (!name.empty() && name.back() == ' ') name.pop_back();
    return name;
}

struct GeoKey {
    std::uint16_t id, place, count, value;
};

// Keys of GeoTIFF, the more telling ones first.
constexpr std::array<std::uint16_t, 2> codeKeys = {3072, 2048};            // projected, geographic system
constexpr std::array<std::uint16_t, 3> citationKeys = {3073, 1026, 2049};  // projected, whole, geographic
constexpr std::uint16_t textPlace = 34737;
constexpr std::uint16_t userDefined = 32767;

const char* findKey(std::span<const char> keys, std::uint16_t id) {
    for (std::size_t i = sizeof(GeoKey); i + sizeof(GeoKey) <= keys.size(); i += sizeof(GeoKey))
        if (loadValue<GeoKey>(keys.data() + i).id == id) return keys.data() + i;
    return nullptr;
}

}  // namespace

std::string nameInWkt(std::string_view text) {
    const std::size_t first = text.find('"');
    if (first == std::string_view::npos) return {};
    return printable(text.substr(first + 1, text.find('"', first + 1) - first - 1));
}

std::string nameInGeoKeys(std::span<const char> keys, std::string_view texts) {
    for (const std::uint16_t id : codeKeys) {
        const char* const pKey = findKey(keys, id);
        const GeoKey key = pKey ? loadValue<GeoKey>(pKey) : GeoKey{};
        if (key.place == 0 && key.value != 0 && key.value != userDefined) return "EPSG:" + std::to_string(key.value);
    }
    for (const std::uint16_t id : citationKeys) {
        const char* const pKey = findKey(keys, id);
        const GeoKey key = pKey ? loadValue<GeoKey>(pKey) : GeoKey{};
        if (key.place != textPlace || key.value >= texts.size()) continue;
        const std::string_view text = texts.substr(key.value, key.count);
        return printable(text.substr(0, text.find('|')));
    }
    return {};
}

}  // namespace QUOR_ZEF
