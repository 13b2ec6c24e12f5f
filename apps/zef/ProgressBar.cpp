#include "ProgressBar.h"

#include <unistd.h>

#include <cstdio>

namespace {

constexpr std::chrono::milliseconds redrawEvery{100};
constexpr std::size_t nameWidth = 32;  // keeps the line within 80 columns

std::string elapsedText(std::chrono::steady_clock::duration elapsed) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(seconds / 60),
                  static_cast<long long>(seconds % 60));
    return text;
}

std::string barText(double value) {
    constexpr std::size_t width = 24;
    const std::size_t numFull = static_cast<std::size_t>(value * static_cast<double>(width));
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d %%", static_cast<int>(value * 100.0));
    return std::string(1, '[').append(numFull, '#').append(width - numFull, '.').append(percent);
}

}  // namespace

ProgressBar::ProgressBar(std::ostream& stream, bool bDrawn) : out(stream), bDraw(bDrawn) {}

ProgressBar::~ProgressBar() {
    hide();
}

void ProgressBar::step(const std::string& name) {
    stepName = name;
    draw(name, "");
}

void ProgressBar::update(std::string_view stage, double share) {
    if (bShown && Clock::now() - lastDrawn < redrawEvery) return;
    draw(stage.empty() ? stepName : stage, barText(share));
}

void ProgressBar::draw(std::string_view name, const std::string& percent) {
    if (!bDraw) return;
    lastDrawn = Clock::now();
    std::string label(name.substr(0, nameWidth));
    label.resize(nameWidth, ' ');
    out << "\r" + label + percent + "  " + elapsedText(lastDrawn - start) + "\033[K" << std::flush;
    bShown = true;
}

void ProgressBar::hide() {
    if (bShown) out << "\r\033[K" << std::flush;
    bShown = false;
}

bool isErrorATerminal() {
    return isatty(STDERR_FILENO) == 1;
}
