#pragma once

#include <string>

// A stage of the library in words for people; the name itself if it has none.
std::string stageWords(const std::string& stageName);
