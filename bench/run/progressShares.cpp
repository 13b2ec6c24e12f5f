// How well the shares that reconstruct() reports follow the time: for each file of points given, the
// largest difference of the share shown from the share of time passed, in points of a hundred, and
// where it is; with -v also each stage with its share of time and of progress.
//
//   build/release/bench/progressShares [-v] [-t THREADS] FILE...
//
// Time is that of the clock. On a busy machine give -c: processor time of one thread.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "zef/files.h"
#include "zef/reconstruction.h"

namespace {

struct Step {
    double time, share;
    std::string tag;
};

struct Settings {
    bool bVerbose = false, bProcessorTime = false;
    unsigned numThreads = 0;
};

double now(const Settings& settings) {
    if (settings.bProcessorTime) return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// What is shown stays until the next step shows something else.
void print(const std::string& path, std::size_t numPoints, const std::vector<Step>& vSteps, const Settings& settings) {
    const double start = vSteps.front().time, whole = vSteps.back().time - start;
    double worst = 0.0;
    const Step* pWorst = &vSteps.front();
    for (std::size_t i = 1; i < vSteps.size(); ++i) {
        const double passed = (vSteps[i].time - start) / whole;
        for (const Step* const pStep : {&vSteps[i - 1], &vSteps[i]}) {
            if (std::abs(pStep->share - passed) <= std::abs(worst)) continue;
            worst = pStep->share - passed;
            pWorst = pStep;
        }
    }
    std::printf("%-28s %9zu points %8.2f s  %+6.1f at %s\n", path.substr(path.rfind('/') + 1).c_str(), numPoints, whole,
                100.0 * worst, pWorst->tag.c_str());
    if (!settings.bVerbose) return;
    for (std::size_t i = 1, begin = 0; i < vSteps.size(); ++i) {
        if (vSteps[i].tag == vSteps[begin].tag && i + 1 < vSteps.size()) continue;
        std::printf("    %-10s time %6.2f %%  shown %6.2f %%   until %6.2f %% shown %6.2f %%\n",
                    vSteps[begin].tag.c_str(), 100.0 * (vSteps[i].time - vSteps[begin].time) / whole,
                    100.0 * (vSteps[i].share - vSteps[begin].share), 100.0 * (vSteps[i].time - start) / whole,
                    100.0 * vSteps[i].share);
        begin = i;
    }
}

void measure(const std::string& path, const Settings& settings) {
    const std::vector<zef::Point3> vPoints = zef::readPoints(path).points;
    std::vector<Step> vSteps = {{now(settings), 0.0, "start"}};
    zef::Context context;
    context.threads = settings.numThreads;
    context.progress = [&](const zef::ProgressStep& step) {
        vSteps.push_back({now(settings), step.share, std::string(step.tag)});
        return true;
    };
    zef::ReconstructOptions options;
    options.measureCoverage = true;  // as the tool does
    zef::reconstruct(vPoints, options, context);
    vSteps.push_back({now(settings), 1.0, "end"});
    print(path, vPoints.size(), vSteps, settings);
}

}  // namespace

int main(int argc, char** argv) try {
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "-v")
            settings.bVerbose = true;
        else if (word == "-c")
            settings = {settings.bVerbose, true, 1};
        else if (word == "-t" && i + 1 < argc)
            settings.numThreads = static_cast<unsigned>(std::atoi(argv[++i]));
        else
            measure(word, settings);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "progressShares: %s\n", error.what());
    return 1;
}
