#include "CommandRun.h"

#include <iostream>
#include <new>

#include "Interrupt.h"
#include "failures.h"
#include "streams.h"

CommandRun::CommandRun(const TalkOptions& talk)
    : inputFormat(talk.inputFormat),
      bQuiet(talk.bQuiet),
      bVerbose(talk.bVerbose),
      bar(std::cerr, kindOfProgress(talk.bQuiet)) {
    context.threads = talk.numThreads;
    context.progress = [this](const zef::ProgressStep& progress) {
        show(progress);
        return true;  // an interrupt ends the process at once
    };
    context.message = [this](zef::Severity severity, std::string_view text) {
        if (severity == zef::Severity::WARNING) return warn(std::string(text));
        if (bVerbose) say(std::string(text));
    };
}

void CommandRun::show(const zef::ProgressStep& progress) {
    if (!progress.tag.empty()) stages.enter(progress.tag, progress.stage);
    const std::lock_guard lock(screenMutex);
    bar.update(progress.stage, progress.share);
}

void CommandRun::step(const std::string& name) {
    stages.stop();
    bar.step(name);
}

void CommandRun::stepWriting(const std::string& path) {
    bWriting = true;
    holdInterrupts();
    step("writing " + path);
}

void CommandRun::lap(const std::string& key, const std::string& label) {
    stages.stop();
    vLaps.push_back({key, label, watch.lap()});
}

void CommandRun::reportLaps() {
    for (const Lap& lap : vLaps) {
        if (&lap == &vLaps.back()) report.addStages(stages.vStages, bVerbose);
        report.addSeconds(lap.key, lap.label, lap.seconds);
    }
    report.addBytes("peak_bytes", "peak memory", peakBytes());
}

void CommandRun::warn(const std::string& text) {
    if (!bQuiet) say("zef: warning: " + text);
}

void CommandRun::hint(const std::string& text) {
    vHints.push_back(text);
    if (!bQuiet) say("zef: hint: " + text);
}

void CommandRun::say(const std::string& line) {
    const std::lock_guard lock(screenMutex);
    bar.hide();
    std::cerr << line + "\n" << std::flush;
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
    } catch (const std::bad_alloc&) {
        return {EXIT_COULD_NOT, "not enough memory"};
    } catch (const std::exception& failure) {
        return {EXIT_COULD_NOT, failure.what()};
    }
}

}  // namespace

int runCommand(const std::string& name, const TalkOptions& talk, const std::function<int(CommandRun&)>& command) {
    Report report;
    Ending ending;
    bool bReportWanted = true;
    {
        CommandRun commandRun(talk);
        commandRun.report.begin(name);
        ending = endingOf(commandRun, command);
        bReportWanted = hasStandardOutput() || !commandRun.hasWritten();
        report = std::move(commandRun.report);
    }
    if (!ending.failure.empty()) {
        std::cerr << "zef: " + ending.failure + "\n" << std::flush;
        return ending.status;
    }
    if (!bReportWanted || report.print(talk.bJson)) return ending.status;
    std::cerr << "zef: the report could not be written to standard output\n";
    return EXIT_COULD_NOT;
}
