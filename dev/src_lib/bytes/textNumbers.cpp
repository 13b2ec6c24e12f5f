#include "bytes/textNumbers.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace QUOR_ZEF {

std::string_view takeWord(std::string_view& text) {
    const char* pEnd = text.data() + text.size();
    const char* pFirst = skipSpaces(text.data(), pEnd);
    const char* pLast = wordEnd(pFirst, pEnd);
    text = std::string_view(pLast, static_cast<std::size_t>(pEnd - pLast));
    return {pFirst, static_cast<std::size_t>(pLast - pFirst)};
}

std::string_view takeLine(std::string_view& text) {
    const std::size_t feed = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, feed);
    text.remove_prefix(std::min(feed + 1, text.size()));
    return line;
}

std::size_t lineNumber(std::string_view text, const char* pHere) {
    return 1 + static_cast<std::size_t>(std::count(text.data(), pHere, '\n'));
}

// The sign of the decimal exponent decides: the place of the first digit that
// is not 0, shifted by what stands after the e.
double valueOutOfRange(const char* p, const char* pEnd) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double sign = p != pEnd && *p == '-' ? -1.0 : 1.0;
    const char* pExponent = std::find_if(p, pEnd, [](char c) { return c == 'e' || c == 'E'; });
    const char* pPoint = std::find(p, pExponent, '.');
    const char* pFirst = std::find_if(p, pExponent, [](char c) { return c >= '1' && c <= '9'; });
    if (pFirst == pExponent) return sign * 0.0;
    const auto place = static_cast<std::int64_t>(pPoint - pFirst);
    std::int64_t exponent = 0;
    if (pExponent != pEnd) {
        const bool bMinus = pExponent + 1 != pEnd && pExponent[1] == '-';
        const char* pDigits = pExponent + (pExponent + 1 != pEnd && !isDigit(pExponent[1]) ? 2 : 1);
        const auto parsed = std::from_chars(pDigits, pEnd, exponent);
        // An exponent that does not fit, or nearly so, outweighs any number of digits.
        constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max() / 2;
        if (parsed.ec == std::errc::result_out_of_range) exponent = largest;
        exponent = std::min(exponent, largest);
        if (bMinus) exponent = -exponent;
    }
    return place + exponent < 0 ? sign * 0.0 : sign * infinity;
}

float narrow(double value) {
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    if (value > largest) return infinity;
    if (value < -largest) return -infinity;
    return static_cast<float>(value);
}

}  // namespace QUOR_ZEF
