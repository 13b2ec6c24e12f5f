#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The columns of text that holds a point on each line.
struct TextColumns {
    static constexpr std::size_t maxNum = 16, none = maxNum;
    using Triple = std::array<std::size_t, 3>;
    static constexpr Triple noTriple{none, none, none};

    Triple xyz{0, 1, 2};
    Triple rgb{3, 4, 5};  // noTriple: no colour
    Triple normal = noTriple;
    std::size_t intensity = none;
    bool bNamed = false;

    // Takes over what the names tell; false, and nothing changes, if they do not name coordinates.
    bool take(const std::vector<std::string>& vNames);
};

// The words of a line of names, in small letters and without quotes or a comment's mark.
std::vector<std::string> namesIn(std::string_view line);

// The numbers at the start of a line, apart by blanks, commas or semicolons.
struct TextLine {
    std::array<double, TextColumns::maxNum> values;
    std::size_t num = 0;
    bool bMixed = false;  // commas beside blanks or semicolons

    explicit TextLine(std::string_view line);
    bool has(const TextColumns::Triple& columns) const {
        return *std::max_element(columns.begin(), columns.end()) < num;
    }
    Vector3 at(const TextColumns::Triple& columns) const {
        return {values[columns[0]], values[columns[1]], values[columns[2]]};
    }
};

}  // namespace QUOR_ZEF
