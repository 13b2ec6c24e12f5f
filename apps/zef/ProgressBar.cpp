#include "ProgressBar.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace {

using namespace std::chrono_literals;

constexpr auto redrawEvery = 100ms;
constexpr auto longStep = 10s;
constexpr std::size_t nameWidth = 30;  // keeps the line within 80 columns

std::string timeText(std::chrono::duration<double> time) {
    const auto seconds = static_cast<long long>(std::lround(time.count()));
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", seconds / 60, seconds % 60);
    return text;
}

std::string percentOf(double share) {
    return std::to_string(static_cast<int>(share * 100.0)) + " %";
}

std::string barText(double value) {
    constexpr std::size_t width = 20;
    const std::size_t numFull = static_cast<std::size_t>(value * static_cast<double>(width));
    const std::string percent = percentOf(value);
    return std::string(1, '[')
        .append(numFull, '#')
        .append(width - numFull, '.')
        .append("] ")
        .append(5 - percent.size(), ' ')
        .append(percent);
}

}  // namespace

ProgressBar::ProgressBar(std::ostream& stream, Kind kindOfBar) : out(stream), kind(kindOfBar) {}

ProgressBar::~ProgressBar() {
    hide();
}

void ProgressBar::step(const std::string& name) {
    stepName = name;
    stepStart = Clock::now();
    left = Seconds(-1.0);
    draw(name, "");
}

void ProgressBar::update(std::string_view stage, double share) {
    const Clock::time_point now = Clock::now();
    if (now - lastDrawn < redrawEvery && (bShown || kind != Kind::DRAWN)) return;
    estimate(share, now);
    if (kind == Kind::ONE_LINE) return tell(share, now);
    draw(stage.empty() ? stepName : stage, barText(share));
}

// Leans on what was said before, so that the seconds do not jump about; the further the step is, the less.
void ProgressBar::estimate(double share, Clock::time_point now) {
    constexpr double least = 0.03, steadiness = 0.8;
    const Seconds sinceLast = now - lastDrawn;
    lastDrawn = now;
    if (share < least || now - stepStart < 1s) return;
    const Seconds found = Seconds(now - stepStart) * ((1.0 - share) / share);
    if (left < 0s) left = found;
    const double before = steadiness * (1.0 - share);
    left = std::max(Seconds(0.0), before * (left - sinceLast) + (1.0 - before) * found);
}

void ProgressBar::draw(std::string_view name, const std::string& text) {
    if (kind != Kind::DRAWN) return;
    std::string label(name.substr(0, nameWidth));
    label.resize(nameWidth, ' ');
    const std::string remaining = left < 0s ? "" : "  " + timeText(left) + " left";
    out << "\r" + label + text + "  " + timeText(Clock::now() - start) + remaining + "\033[K" << std::flush;
    bShown = true;
}

void ProgressBar::tell(double share, Clock::time_point now) {
    if (bTold || left < 0s || now - stepStart < longStep) return;
    bTold = true;
    out << "zef: " + stepName + ": " + percentOf(share) + " after " + timeText(now - stepStart) + ", about " +
               timeText(left) + " left\n"
        << std::flush;
}

void ProgressBar::hide() {
    if (bShown) out << "\r\033[K" << std::flush;
    bShown = false;
}

ProgressBar::Kind kindOfProgress(bool bQuiet) {
    if (bQuiet) return ProgressBar::Kind::SILENT;
    return isatty(STDERR_FILENO) == 1 ? ProgressBar::Kind::DRAWN : ProgressBar::Kind::ONE_LINE;
}
