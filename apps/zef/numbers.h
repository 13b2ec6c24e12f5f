#pragma once

#include <string>
#include <string_view>

// The whole text as one finite number.
bool parseNumber(std::string_view text, double& value);

// For options, beside the check of a range, which takes a NaN: empty if the text is
// a finite number, else what is wrong.
std::string checkNumber(const std::string& text);

// The same for numbers above 0, and for whole numbers of 0 or more.
std::string checkPositive(const std::string& text);
std::string checkCount(const std::string& text);

// The fewest digits that read back as the same value.
std::string shortestText(double value);
