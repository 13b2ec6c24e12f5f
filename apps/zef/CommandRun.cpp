#include "CommandRun.h"

#include <iostream>
#include <new>

#include "Interrupt.h"
#include "failures.h"
#include "frame/Progress.h"
#include "zef/exceptions.h"
#include "zef/threads.h"

CommandRun::CommandRun(const TalkOptions& talk)
    : bQuiet(talk.bQuiet), bar(std::cerr, !talk.bQuiet && isErrorATerminal()), output(bar, talk.bQuiet) {
    if (talk.numThreads != 0) zef::setNumThreads(talk.numThreads);
    zef::getStageTimes().clear();
    zef::subscribe(&bar);
}

CommandRun::~CommandRun() {
    zef::unsubscribe();
}

void CommandRun::step(const std::string& name) {
    bar.step(name);
}

void CommandRun::stepWriting(const std::string& path) {
    holdInterrupts();
    step("writing " + path);
}

void CommandRun::lap(const std::string& key, const std::string& label) {
    vLaps.push_back({key, label, watch.lap()});
}

void CommandRun::reportLaps() {
    for (const Lap& lap : vLaps) {
        if (&lap == &vLaps.back()) report.addStages();
        report.addSeconds(lap.key, lap.label, lap.seconds);
    }
    report.addBytes("peak_bytes", "peak memory", peakBytes());
}

void CommandRun::warn(const std::string& text) {
    if (bQuiet) return;
    bar.hide();
    std::cerr << "zef: warning: " + text + "\n" << std::flush;
}

namespace {

struct Ending {
    int status = EXIT_DONE;
    std::string failure;  // empty if the command ended by itself
};

Ending endingOf(CommandRun& commandRun, const std::function<int(CommandRun&)>& command) {
    try {
        return {command(commandRun), ""};
    } catch (const UsageFailure& failure) {
        return {EXIT_USAGE, failure.what()};
    } catch (const zef::ZefBugException& bug) {
        return {EXIT_COULD_NOT, commandRun.getFailure().empty() ? bug.what() : commandRun.getFailure()};
    } catch (const std::bad_alloc&) {
        return {EXIT_COULD_NOT, "not enough memory"};
    } catch (const std::exception& failure) {
        return {EXIT_COULD_NOT, failure.what()};
    }
}

}  // namespace

int runCommand(const TalkOptions& talk, const std::function<int(CommandRun&)>& command) {
    Report report;
    Ending ending;
    {
        CommandRun commandRun(talk);
        ending = endingOf(commandRun, command);
        report = std::move(commandRun.report);
    }
    if (!ending.failure.empty()) {
        std::cerr << "zef: " + ending.failure + "\n" << std::flush;
        return ending.status;
    }
    report.print(talk.bJson);
    if (std::cout) return ending.status;
    std::cerr << "zef: the report could not be written to standard output\n";
    return EXIT_COULD_NOT;
}
