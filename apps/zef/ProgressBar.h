#pragma once

#include <chrono>
#include <ostream>
#include <string>

#include "zef/ProgressBase.h"

// One line that shows the step, how much of it is done and the time so far. It
// never falls within a step.
class ProgressBar : public zef::ProgressBase {
public:
    // out is borrowed. Nothing is drawn unless bDraw.
    ProgressBar(std::ostream& out, bool bDraw);
    ~ProgressBar() override;

    // A step without a measure of its own, such as reading a file.
    void step(const std::string& name);
    void update(const std::string& run, double value) override;
    // Takes the line away, for other output; the next update draws it again.
    void hide();

private:
    using Clock = std::chrono::steady_clock;

    std::ostream& out;
    bool bDraw;
    bool bShown = false;
    std::string run;       // the library's run that the values belong to
    double reached = 0.0;  // the highest value of the run
    Clock::time_point start = Clock::now();
    Clock::time_point lastDrawn{};

    void draw(const std::string& name, const std::string& percent);
};

// Whether a bar on standard error would be seen.
bool isErrorATerminal();
