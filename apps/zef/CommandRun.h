#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ProgressBar.h"
#include "options.h"
#include "reports/Report.h"
#include "reports/StageClock.h"
#include "reports/resources.h"
#include "zef/Context.h"

// The surroundings of one command: who hears of progress, where messages go,
// and the report that is printed when the command is through.
class CommandRun {
public:
    explicit CommandRun(const TalkOptions& talk);
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    Report report;
    const std::string inputFormat;  // of standard input; empty if none was told
    // For every call of the library.
    const zef::Context& getContext() const { return context; }

    // Ends a stretch of the command that the report names, with the seconds since
    // the last one or since skipped().
    void lap(const std::string& key, const std::string& label);
    void skipped() { watch.lap(); }
    // The laps and the peak memory; with --verbose or --json the library's stages before
    // the last lap.
    void reportLaps();

    // Names what goes on from here, and is shown until the library names a stage.
    void step(const std::string& name);
    // The last step of a command: from here on it cannot be cancelled.
    void stepWriting(const std::string& path);
    bool hasWritten() const { return bWriting; }
    void warn(const std::string& text);
    // What to try where something looks wrong: a line of its own, and one of the list that
    // reportHints() puts into the report.
    void hint(const std::string& text);
    void reportHints() { report.add("hints", "", vHints, ""); }

private:
    struct Lap {
        std::string key, label;
        double seconds;
    };
    bool bQuiet, bVerbose, bWriting = false;
    Stopwatch watch;
    std::vector<Lap> vLaps;
    std::vector<std::string> vHints;
    StageClock stages;
    std::mutex screenMutex;  // the library's messages come from any of its threads
    ProgressBar bar;
    zef::Context context;

    void show(const zef::ProgressStep& progress);
    void say(const std::string& line);
};

// Runs a command and prints its report, or says on standard error why there is
// none. Returns the status of the process: the command's own if it ended.
int runCommand(const std::string& name, const TalkOptions& talk, const std::function<int(CommandRun&)>& command);
