#include "io/textColumns.h"

#include <optional>

#include "bytes/textNumbers.h"

namespace QUOR_ZEF {

namespace {

using Triple = TextColumns::Triple;

// How the numbers of a line stand apart.
enum Separator : unsigned { BLANK = 1, COMMA = 2, SEMICOLON = 4 };

bool isSeparator(char c) {
    return c == ',' || c == ';';
}

// The columns of three names; nothing if one of them is missing.
std::optional<Triple> findNames(const std::vector<std::string>& vNames, const std::array<const char*, 3>& wanted) {
    Triple columns{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto it = std::find(vNames.begin(), vNames.end(), wanted[i]);
        columns[i] = static_cast<std::size_t>(it - vNames.begin());
        if (it == vNames.end() || columns[i] >= TextColumns::maxNum) return {};
    }
    return columns;
}

std::size_t findName(const std::vector<std::string>& vNames, std::initializer_list<const char*> known) {
    const auto it = std::find_first_of(vNames.begin(), vNames.end(), known.begin(), known.end());
    return it == vNames.end() ? TextColumns::none : static_cast<std::size_t>(it - vNames.begin());
}

}  // namespace

bool TextColumns::take(const std::vector<std::string>& vNames) {
    const auto found = findNames(vNames, {"x", "y", "z"});
    if (!found) return false;
    bNamed = true;
    xyz = *found;
    auto colors = findNames(vNames, {"r", "g", "b"});
    if (!colors) colors = findNames(vNames, {"red", "green", "blue"});
    rgb = colors.value_or(noTriple);
    normal = findNames(vNames, {"nx", "ny", "nz"}).value_or(noTriple);
    intensity = findName(vNames, {"i", "intensity"});
    return true;
}

std::vector<std::string> namesIn(std::string_view line) {
    std::vector<std::string> vNames(1);
    bool bGap = false;  // blanks since the last letter
    for (char c : line) {
        if (c == '"' || c == '#' || c == '/' || c == '\'') continue;
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (isBlank(c)) {
            bGap = true;
            continue;
        }
        if (isSeparator(c) || (bGap && !vNames.back().empty())) vNames.emplace_back();
        bGap = false;
        if (!isSeparator(c)) vNames.back() += c;
        if (vNames.size() > TextColumns::maxNum) break;
    }
    return vNames;
}

TextLine::TextLine(std::string_view line) {
    unsigned separator = 0, separators = 0;
    const char* const pEnd = line.data() + line.size();
    const char* p = skipBlanks(line.data(), pEnd);
    while (num < TextColumns::maxNum && p != pEnd) {
        const char* pStop = parseAnyNumber(p, pEnd, values[num]);
        if (!pStop || (pStop != pEnd && !isBlank(*pStop) && !isSeparator(*pStop))) break;
        ++num;
        separators |= separator;
        p = skipBlanks(pStop, pEnd);
        separator = BLANK;
        if (p != pEnd && isSeparator(*p)) {
            separator = *p == ',' ? COMMA : SEMICOLON;
            p = skipBlanks(p + 1, pEnd);
        }
    }
    bMixed = (separators & COMMA) && (separators & (BLANK | SEMICOLON));
}

}  // namespace QUOR_ZEF
