// How long a call goes on after it was cancelled: reconstructs an analytic cloud on one thread, and prints the longest
// times between two looks at whether it is cancelled, by stage; then cancels in each of those stages, and prints how
// long it takes to come back, which is mostly freeing memory.
//
//   build/release/bench/cancelTime [POINTS] [--wall]      5,000,000 by default
//
// Time is that of the thread's processor, so that a busy machine does not count, or that of the clock.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "zef/errors.h"
#include "zef/reconstruction.h"

namespace {

clockid_t whichClock = CLOCK_THREAD_CPUTIME_ID;

double now() {
    timespec time{};
    clock_gettime(whichClock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Even points on a ball with bumps.
std::vector<zef::Point3> makePoints(std::size_t num) {
    std::vector<zef::Point3> vPoints;
    vPoints.reserve(num);
    for (std::size_t i = 0; i < num; ++i) {
        const double z = 1.0 - 2.0 * (static_cast<double>(i) + 0.5) / static_cast<double>(num);
        const double turn = 2.399963229728653 * static_cast<double>(i), width = std::sqrt(1.0 - z * z);
        const double radius = 1.0 + 0.02 * std::sin(9.0 * turn) * std::sin(20.0 * z) * width;
        vPoints.emplace_back(radius * width * std::cos(turn), radius * width * std::sin(turn), radius * z);
    }
    return vPoints;
}

struct Gap {
    double seconds = 0.0, share = 0.0;
};

// By tag of the stage.
std::map<std::string, Gap> findGaps(const std::vector<zef::Point3>& vPoints) {
    std::map<std::string, Gap> gaps;
    std::string tag = "begin";
    double last = now(), share = 0.0;
    zef::Context context{.threads = 1};
    context.progress = [&](const zef::ProgressStep& step) {
        const double time = now();
        if (time - last > gaps[tag].seconds) gaps[tag] = {time - last, share};
        last = time;
        tag = step.tag;
        share = step.share;
        return true;
    };
    zef::reconstruct(vPoints, {}, context);
    return gaps;
}

double cancelAt(const std::vector<zef::Point3>& vPoints, const std::string& tag) {
    double asked = 0.0;
    zef::Context context{.threads = 1};
    context.progress = [&](const zef::ProgressStep& step) {
        if (step.tag != tag) return true;
        asked = now();
        return false;
    };
    try {
        zef::reconstruct(vPoints, {}, context);
    } catch (const zef::CancelledError&) {
        return now() - asked;
    }
    return 0.0;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t num = 5'000'000;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--wall") == 0)
            whichClock = CLOCK_MONOTONIC;
        else
            num = std::strtoull(argv[i], nullptr, 10);
    }
    const std::vector<zef::Point3> vPoints = makePoints(num);
    std::vector<std::pair<double, std::string>> vWorst;
    for (const auto& [tag, gap] : findGaps(vPoints)) vWorst.emplace_back(gap.seconds, tag);
    std::sort(vWorst.rbegin(), vWorst.rend());
    for (std::size_t i = 0; i < std::min<std::size_t>(vWorst.size(), 25); ++i)
        std::printf("%-16s %8.1f ms between two looks\n", vWorst[i].second.c_str(), 1e3 * vWorst[i].first);
    std::fflush(stdout);
    for (std::size_t i = 0; i < std::min<std::size_t>(vWorst.size(), 4); ++i)
        std::printf("%-16s %8.1f ms to come back\n", vWorst[i].second.c_str(),
                    1e3 * cancelAt(vPoints, vWorst[i].second));
    return 0;
}
