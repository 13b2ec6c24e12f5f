#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <string_view>

// One line that shows the step, how much of it is done, the time so far and the time that is left.
class ProgressBar {
public:
    // DRAWN: on a terminal, in place of itself. ONE_LINE: for a file or a pipe; a single line, of the
    // first step that takes ten seconds.
    enum class Kind { SILENT, ONE_LINE, DRAWN };

    // The stream is borrowed.
    ProgressBar(std::ostream& stream, Kind kindOfBar);
    ~ProgressBar();

    // A step without a measure of its own, such as reading a file.
    void step(const std::string& name);
    // How far the step is, 0 to 1. stage: what to call it; the step's own name if empty.
    void update(std::string_view stage, double share);
    // Takes the line away, for other output; the next update draws it again.
    void hide();

private:
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;

    std::ostream& out;
    const Kind kind;
    bool bShown = false, bTold = false;
    std::string stepName;
    Clock::time_point start = Clock::now(), stepStart = start;
    Clock::time_point lastDrawn{};
    Seconds left{-1.0};  // of the step; below 0 while nothing is known

    void estimate(double share, Clock::time_point now);
    void draw(std::string_view name, const std::string& text);
    void tell(double share, Clock::time_point now);
};

// SILENT if quiet, else what suits standard error.
ProgressBar::Kind kindOfProgress(bool bQuiet);
