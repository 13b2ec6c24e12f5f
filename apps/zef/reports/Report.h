#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "reports/StageClock.h"

// What a command tells at its end: lines for people, or the same as one JSON
// object on one line. A key without label stands in the object
// only, and a label without key in the lines only.
class Report {
public:
    // The version of what docs/report.schema.json describes, and the name of the command.
    void begin(const std::string& command);

    void addCount(const std::string& key, const std::string& label, std::uint64_t count);
    void addNumber(const std::string& key, const std::string& label, double value);
    void addShare(const std::string& key, const std::string& label, double share);  // 0 to 1
    void addSeconds(const std::string& key, const std::string& label, double seconds);
    void addBytes(const std::string& key, const std::string& label, std::uint64_t bytes);
    void addText(const std::string& key, const std::string& label, const std::string& text);
    void addFlag(const std::string& key, const std::string& label, bool bFlag);
    void add(const std::string& key, const std::string& label, nlohmann::ordered_json value, const std::string& text);

    // The seconds of the library's stages; bLines: for people too.
    void addStages(const std::vector<StageClock::Stage>& vStages, bool bLines);

    // Stands alone in place of the lines.
    void setAnswer(const std::string& text) { answer = text; }

    // Where standard output is taken.
    void useStandardError() { bStandardError = true; }

    // False if it could not be written.
    bool print(bool bJson) const;
    // The lines for people: what, how much.
    std::vector<std::pair<std::string, std::string>> lines() const;

private:
    struct Line {
        std::string label, text;
    };
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    std::vector<Line> vLines;
    std::string answer;
    bool bStandardError = false;

    void printLines(std::ostream& out) const;
};

// 1234567 as 1,234,567.
std::string countText(std::uint64_t count);
std::string numberText(double value);
std::string shortText(double value);  // four digits
std::string percentText(double share);
std::string secondsText(double seconds);
std::string bytesText(std::uint64_t bytes);
