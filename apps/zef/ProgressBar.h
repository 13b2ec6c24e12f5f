#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <string_view>

// One line that shows the step, how much of it is done and the time so far.
class ProgressBar {
public:
    // out is borrowed. Nothing is drawn unless bDraw.
    ProgressBar(std::ostream& out, bool bDraw);
    ~ProgressBar();

    // A step without a measure of its own, such as reading a file.
    void step(const std::string& name);
    // How far the step is, 0 to 1. stage: what to call it; the step's own name if empty.
    void update(std::string_view stage, double share);
    // Takes the line away, for other output; the next update draws it again.
    void hide();

private:
    using Clock = std::chrono::steady_clock;

    std::ostream& out;
    bool bDraw;
    bool bShown = false;
    std::string stepName;
    Clock::time_point start = Clock::now();
    Clock::time_point lastDrawn{};

    void draw(std::string_view name, const std::string& percent);
};

// Whether a bar on standard error would be seen.
bool isErrorATerminal();
