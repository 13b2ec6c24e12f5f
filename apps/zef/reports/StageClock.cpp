#include "reports/StageClock.h"

#include <algorithm>

void StageClock::enter(std::string_view tag, std::string_view words) {
    if (running != none && vStages[running].tag == tag) return;
    stop();
    const auto it = std::find_if(vStages.begin(), vStages.end(), [&](const Stage& stage) { return stage.tag == tag; });
    running = static_cast<std::size_t>(it - vStages.begin());
    if (it == vStages.end()) vStages.push_back({std::string(tag), std::string(words)});
}

void StageClock::stop() {
    const double seconds = watch.lap();
    if (running != none) vStages[running].seconds += seconds;
    running = none;
}
