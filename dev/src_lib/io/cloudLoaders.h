#pragma once

#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "bytes/LoadError.h"
#include "io/PLY.h"
#include "io/loadCloud.h"

namespace QUOR_ZEF {

// The formats behind loadCloud. Each fills an empty PointFile from the bytes of
// a file that is not empty, and throws LoadError or PLY::PlyError.

void loadPlyCloud(std::string_view bytes, PointFile& out);
void loadStlCloud(std::string_view bytes, PointFile& out);
void loadObjCloud(std::string_view bytes, PointFile& out);
void loadOffCloud(std::string_view bytes, PointFile& out);
// names: of the columns, apart by commas; empty: the file may name them. bPts: seven numbers on
// a line without names are x y z intensity red green blue.
void loadTextCloud(const InputFile& file, const std::string& names, bool bPts, PointFile& out);
void loadBinCloud(std::string_view bytes, PointFile& out);
// Binary or as text.
void loadGltfCloud(std::string_view bytes, PointFile& out);

LoadError loadErrorOf(const PLY::PlyError& error);
[[noreturn]] void failAtLine(std::string_view text, const char* pHere, const std::string& fault);

// Of a text file: the first hundred of them.
void keepComment(std::string_view line, std::vector<std::string>& vComments);

// The normal of the next point; zero if it is not finite.
void addNormal(const Vector3& normal, std::vector<Vector3>& vNormals);

inline constexpr const char* notText =
    "the file is not plain text; save it as text, or give it the ending of its true format";
// Refuses what is no text, before it is parsed line by line.
void checkIsText(std::string_view bytes);

inline constexpr const char* noPointLine = "no line starts with three numbers; expected x y z on each line";

// Turns faces into triangles, a fan from the first corner each.
class FanMaker {
public:
    explicit FanMaker(PointFile& cloud) : out(cloud) {}
    void addCorner(std::uint32_t index);
    void endFace();

private:
    PointFile& out;
    std::uint32_t first = 0, last = 0;
    std::size_t numCorners = 0;
};

// Colours as they stand in a file, 0 to 1 or 0 to 255, which only the whole of
// them tells. One entry per point once there is any.
class ColorColumn {
public:
    using Color = std::array<float, 4>;  // red green blue alpha
    static constexpr float none = std::numeric_limits<float>::quiet_NaN();

    // The colour of the point that stands at this index; alpha none: opaque.
    void set(std::size_t index, const Color& color);
    // Scales by 255 if nothing is above 1, alpha by itself; rounds and limits.
    void apply(PointFile& out) const;

private:
    std::vector<Color> vColors;
};

}  // namespace QUOR_ZEF
