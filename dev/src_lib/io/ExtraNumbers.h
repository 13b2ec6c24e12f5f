#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// What three numbers beside x y z on each line of a text are. Only all lines together tell
// whether they are colours or normals; parts of a text may be looked at apart.
class ExtraNumbers {
public:
    enum class Meaning : std::uint8_t { NONE, NORMALS, COLORS };

    // Of the next line; bLast: no number follows them.
    void add(const Vector3& v, bool bLast);
    // The next line has none.
    void addLack() { lack = std::min(lack, num++); }
    // Those of the lines that follow.
    void append(const ExtraNumbers& next);

    // False once they can be neither.
    bool mayMean() const { return firstOdd() == never; }
    // Without names, columns that hold nothing but 0 and 1 are normals of a flat surface, or nothing.
    Meaning meaning(bool bNamed) const;
    // Those before the first line that did not fit were colours.
    bool seemedColors() const;

    // v: of each of the points, where the meaning is COLORS.
    void applyColors(const std::vector<Vector3>& v, std::vector<Point3>& vPoints) const;

private:
    static constexpr std::uint64_t never = ~std::uint64_t{0};

    std::uint64_t num = 0;  // lines
    // The first of them with numbers that are not whole from 0 to 65535, not between 0 and 1, not
    // of length 1, and without any.
    std::uint64_t notWhole = never, notShare = never, notUnit = never, lack = never;
    bool bFraction = false;  // among them
    bool bAlwaysLast = true;
    Vector3 largest;  // of those before the first that is not whole or lacks

    std::uint64_t firstOdd() const;
    std::uint64_t endOfWhole() const { return std::min(notWhole, lack); }
    double mostOfAll() const { return std::max({largest.vx, largest.vy, largest.vz}); }
    void widen(const Vector3& v);
    bool areColorsUnnamed() const;
};

}  // namespace QUOR_ZEF
