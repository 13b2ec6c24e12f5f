#pragma once

#include <functional>
#include <string>

#include "LibraryOutput.h"
#include "ProgressBar.h"
#include "Report.h"
#include "RunStages.h"
#include "options.h"

// The surroundings of one command: who hears of progress, where messages go,
// and the report that is printed when the command is through.
class CommandRun {
public:
    explicit CommandRun(const TalkOptions& talk);
    ~CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    Report report;
    Stopwatch watch;

    // Names what goes on outside of the library's runs; throws Cancelled after
    // an interrupt.
    void step(const std::string& name);
    void warn(const std::string& text);
    // Why the library refused, for people.
    const std::string& getFailure() const { return output.getFailure(); }

private:
    bool bQuiet;
    ProgressBar bar;
    LibraryOutput output;
};

// Runs a command and prints its report, or says on standard error why there is
// none. Returns the status of the process: the command's own if it ended.
int runCommand(const TalkOptions& talk, const std::function<int(CommandRun&)>& command);
