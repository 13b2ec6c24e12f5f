#include "numbers.h"

#include <charconv>
#include <cmath>

bool parseNumber(std::string_view text, double& value) {
    // from_chars knows no plus sign.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const char* const pEnd = text.data() + text.size();
    const auto [pStop, error] = std::from_chars(text.data(), pEnd, value);
    return error == std::errc() && pStop == pEnd && std::isfinite(value);
}

std::string checkNumber(const std::string& text) {
    double ignored;
    return parseNumber(text, ignored) ? "" : text + " is no number";
}

std::string checkPositive(const std::string& text) {
    double value;
    return parseNumber(text, value) && value > 0.0 ? "" : text + " is no number above 0";
}

std::string checkCount(const std::string& text) {
    double value;
    const bool bCount = parseNumber(text, value) && value >= 0.0 && value == std::floor(value);
    return bCount ? "" : text + " is no whole number of 0 or more";
}

std::string shortestText(double value) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}
