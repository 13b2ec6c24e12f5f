#pragma once

#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>

namespace QUOR_ZEF {

// Numbers in text, the same under every locale. All functions take the text as
// [p, pEnd) and never look beyond it.

inline bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
// What a stream skips, line feeds apart.
inline bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}
inline bool isSpace(char c) {
    return c == '\n' || isBlank(c);
}
inline const char* skipBlanks(const char* p, const char* pEnd) {
    while (p != pEnd && isBlank(*p)) ++p;
    return p;
}
inline const char* skipSpaces(const char* p, const char* pEnd) {
    while (p != pEnd && isSpace(*p)) ++p;
    return p;
}
inline const char* wordEnd(const char* p, const char* pEnd) {
    while (p != pEnd && !isSpace(*p)) ++p;
    return p;
}
// The next line feed, or pEnd.
inline const char* lineEnd(const char* p, const char* pEnd) {
    const void* pFeed = p == pEnd ? nullptr : std::memchr(p, '\n', static_cast<std::size_t>(pEnd - p));
    return pFeed ? static_cast<const char*>(pFeed) : pEnd;
}

// The first word of a text, taken off it; empty at its end.
std::string_view takeWord(std::string_view& text);
// The first line of a text without its line feed, taken off it.
std::string_view takeLine(std::string_view& text);

// The number of line feeds before pHere, plus 1.
std::size_t lineNumber(std::string_view text, const char* pHere);

// A value that from_chars found out of range: 0 when it is too small to be told
// from 0, infinity when it is too large, with its sign.
double valueOutOfRange(const char* p, const char* pEnd);

// One number that starts at p, with optional sign: nan, inf and decimal numbers,
// those too large as infinity. Returns where it ends, or null if there is none.
template <class T>
const char* parseAnyNumber(const char* p, const char* pEnd, T& value) {
    // from_chars knows no plus sign.
    if (p != pEnd && *p == '+') {
        ++p;
        if (p == pEnd || *p == '-') return nullptr;
    }
    const auto [pStop, code] = std::from_chars(p, pEnd, value);
    if (code == std::errc()) return pStop;
    if (code != std::errc::result_out_of_range) return nullptr;
    value = static_cast<T>(valueOutOfRange(p, pStop));
    return pStop;
}

// One number as a stream takes it: no nan, no inf, nothing too large for a
// double, and no exponent without digits.
inline const char* parseStreamNumber(const char* p, const char* pEnd, double& value) {
    const char* pDigits = p != pEnd && (*p == '+' || *p == '-') ? p + 1 : p;
    if (pDigits == pEnd || !(isDigit(*pDigits) || *pDigits == '.')) return nullptr;
    const char* pStop = parseAnyNumber(p, pEnd, value);
    if (!pStop || value - value != 0.0) return nullptr;
    if (pStop != pEnd && (*pStop == 'e' || *pStop == 'E')) return nullptr;
    return pStop;
}

// The nearest float; too large a value becomes infinity.
float narrow(double value);

}  // namespace QUOR_ZEF
