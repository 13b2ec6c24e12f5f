#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LibraryOutput.h"
#include "ProgressBar.h"
#include "Report.h"
#include "options.h"
#include "resources.h"

// The surroundings of one command: who hears of progress, where messages go,
// and the report that is printed when the command is through.
class CommandRun {
public:
    explicit CommandRun(const TalkOptions& talk);
    ~CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    Report report;

    // Ends a stretch of the command that the report names, with the seconds since
    // the last one or since skipped().
    void lap(const std::string& key, const std::string& label);
    void skipped() { watch.lap(); }
    // The laps, with the library's stages before the last one, and the peak memory.
    void reportLaps();

    // Names what goes on outside of the library's runs.
    void step(const std::string& name);
    // The last step of a command: from here on it cannot be cancelled.
    void stepWriting(const std::string& path);
    void warn(const std::string& text);
    // Why the library refused, for people.
    const std::string& getFailure() const { return output.getFailure(); }

private:
    struct Lap {
        std::string key, label;
        double seconds;
    };
    bool bQuiet;
    Stopwatch watch;
    std::vector<Lap> vLaps;
    ProgressBar bar;
    LibraryOutput output;
};

// Runs a command and prints its report, or says on standard error why there is
// none. Returns the status of the process: the command's own if it ended.
int runCommand(const TalkOptions& talk, const std::function<int(CommandRun&)>& command);
