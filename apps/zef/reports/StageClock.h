#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "reports/resources.h"

// The seconds that the library spends in each stage. One that is entered again adds
// to its sum.
class StageClock {
public:
    struct Stage {
        std::string tag, words;
        double seconds = 0.0;
    };
    std::vector<Stage> vStages;  // in the order of first entry

    // Ends the running stage, unless it is this one, and begins this one.
    void enter(std::string_view tag, std::string_view words);
    void stop();

private:
    static constexpr std::size_t none = ~std::size_t{0};
    std::size_t running = none;  // index in vStages
    Stopwatch watch;
};
