#include "numbers.h"

#include <charconv>
#include <cmath>

#include "bytes/textNumbers.h"

bool parseNumber(std::string_view text, double& value) {
    const char* const pEnd = text.data() + text.size();
    return QUOR_ZEF::parseAnyNumber(text.data(), pEnd, value) == pEnd && !text.empty() && std::isfinite(value);
}

std::string checkNumber(const std::string& text) {
    double ignored;
    return parseNumber(text, ignored) ? "" : text + " is no number";
}

std::string shortestText(double value) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}
