#include "formats/pcdWriter.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "bytes/textNumbers.h"

namespace QUOR_ZEF {

namespace {

std::string headerOf(std::size_t num, bool bDoubles, bool bColor) {
    const std::string size = bDoubles ? " 8" : " 4", count = std::to_string(num);
    return "# .PCD v0.7 - Point Cloud Data file format\nVERSION 0.7\nFIELDS x y z" + std::string(bColor ? " rgb" : "") +
           "\nSIZE" + size + size + size + (bColor ? " 4" : "") + "\nTYPE F F F" + (bColor ? " U" : "") +
           "\nCOUNT 1 1 1" + (bColor ? " 1" : "") + "\nWIDTH " + count +
           "\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS " + count + "\nDATA binary\n";
}

std::uint32_t packedColor(const Point3& p) {
    constexpr std::uint32_t white = 0xFFFFFF;
    if (!p.hasColor()) return white;
    return std::uint32_t{p.r} << 16 | std::uint32_t{p.g} << 8 | std::uint32_t{p.b};
}

}  // namespace

void writePcd(AtomicFile& file, std::span<const Point3> points, bool bDoubles) {
    const bool bColor = std::any_of(points.begin(), points.end(), [](const Point3& p) { return p.hasColor(); });
    file.write(headerOf(points.size(), bDoubles, bColor));
    for (const Point3& p : points) {
        for (const double value : {p.px, p.py, p.pz}) {
            if (bDoubles)
                file.writeRaw(value);
            else
                file.writeRaw(narrow(value));
        }
        if (bColor) file.writeRaw(packedColor(p));
    }
}

}  // namespace QUOR_ZEF
