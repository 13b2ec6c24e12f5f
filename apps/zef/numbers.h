#pragma once

#include <string>
#include <string_view>

// The whole text as one finite number.
bool parseNumber(std::string_view text, double& value);

// The fewest digits that read back as the same value.
std::string shortestText(double value);
