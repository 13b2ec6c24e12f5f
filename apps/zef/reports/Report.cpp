#include "reports/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

using Json = nlohmann::ordered_json;

namespace {

std::string formatted(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

std::string countText(std::uint64_t count) {
    std::string text = std::to_string(count);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

std::string numberText(double value) {
    return formatted("%.9g", value);
}

std::string shortText(double value) {
    return formatted("%.4g", value);
}

std::string percentText(double share) {
    return formatted("%.4g %%", 100.0 * share);
}

std::string secondsText(double seconds) {
    return formatted("%.3f s", seconds);
}

std::string bytesText(std::uint64_t bytes) {
    const char* const units[] = {"%.0f bytes", "%.1f kB", "%.1f MB", "%.2f GB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1000.0 && unit < 3) {
        value /= 1000.0;
        ++unit;
    }
    return formatted(units[unit], value);
}

void Report::begin(const std::string& command) {
    constexpr int version = 1;
    object["report_version"] = version;
    object["command"] = command;
}

void Report::add(const std::string& key, const std::string& label, Json value, const std::string& text) {
    if (!key.empty()) object[key] = std::move(value);
    if (!label.empty()) vLines.push_back({label, text});
}

void Report::addCount(const std::string& key, const std::string& label, std::uint64_t count) {
    add(key, label, count, countText(count));
}

void Report::addNumber(const std::string& key, const std::string& label, double value) {
    add(key, label, std::isfinite(value) ? Json(value) : Json(nullptr), numberText(value));
}

void Report::addShare(const std::string& key, const std::string& label, double share) {
    add(key, label, share, percentText(share));
}

void Report::addSeconds(const std::string& key, const std::string& label, double seconds) {
    add(key, label, seconds, secondsText(seconds));
}

void Report::addBytes(const std::string& key, const std::string& label, std::uint64_t bytes) {
    add(key, label, bytes, bytesText(bytes));
}

void Report::addText(const std::string& key, const std::string& label, const std::string& text) {
    add(key, label, text, text);
}

void Report::addFlag(const std::string& key, const std::string& label, bool bFlag) {
    add(key, label, bFlag, bFlag ? "yes" : "no");
}

void Report::addStages(const std::vector<StageClock::Stage>& vStages, bool bLines) {
    Json stages = Json::object();
    for (const StageClock::Stage& stage : vStages) {
        stages[stage.tag] = stage.seconds;
        if (bLines) vLines.push_back({"  " + stage.words, secondsText(stage.seconds)});
    }
    object["stages"] = std::move(stages);
}

std::vector<std::pair<std::string, std::string>> Report::lines() const {
    std::vector<std::pair<std::string, std::string>> vPairs;
    for (const Line& line : vLines) vPairs.emplace_back(line.label, line.text);
    return vPairs;
}

bool Report::print(bool bJson) const {
    std::ostream& out = bStandardError ? std::cerr : std::cout;
    if (bJson) {
        out << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    } else if (!answer.empty()) {
        out << answer << '\n';
    } else {
        printLines(out);
    }
    return static_cast<bool>(out << std::flush);
}

void Report::printLines(std::ostream& out) const {
    std::size_t width = 0;
    for (const Line& line : vLines) width = std::max(width, line.label.size());
    for (const Line& line : vLines)
        out << line.label << std::string(width + 2 - line.label.size(), ' ') << line.text << '\n';
}
