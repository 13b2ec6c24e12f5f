// Calls the library at random, from four threads at once, each call twice: with some number of threads, and with
// one. Both must give the same, and what the calls promise must hold.
//
//   soak [RUNS] [FIRST_SEED] [--growth]     2000 runs without arguments
//
// Every sixth run is cancelled at some moment instead. --growth makes the same thirty runs again and again, one at
// a time, and tells whether memory grows. Ends with 1 and the seed of each run at fault; "soak 1 SEED" runs it again.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "fuzz/operations.h"
#include "tests/support/Folder.h"
#include "zef/errors.h"

using namespace zef_fuzz;
using QUOR_ZEF::Context;

namespace {

struct Counts {
    std::atomic<std::uint64_t> numCalls = 0, numCancelled = 0, numFaults = 0;
};

// All that the runs of a process have in common.
struct Soak {
    Counts counts;
    std::mutex output;

    void fault(std::uint64_t seed, const Operation& operation, const char* what) {
        ++counts.numFaults;
        const std::lock_guard lock(output);
        std::printf("seed %llu, %s: %s\n", static_cast<unsigned long long>(seed), operation.name, what);
        std::fflush(stdout);
    }
};

// Draws the same again.
struct Job {
    std::vector<std::uint8_t> bytes;
    const Operation* pOperation = nullptr;
    Scene scene;

    explicit Job(std::uint64_t seed) : bytes(bytesOfSeed(seed, 256)) {
        Draw draw(bytes, seed % 4 == 0);
        pOperation = &operations()[draw.below(static_cast<std::uint32_t>(operations().size()))];
        const std::uint32_t kind = draw.below(numSceneKinds), fineness = 1 + draw.below(3);
        const std::uint32_t numPoints = 20 * draw.below(256);
        scene = drawScene(draw, kind, fineness, numPoints);
    }
    Digest run(std::uint64_t seed, const std::string& folder, const Context& context) const {
        const std::vector<std::uint8_t> vChoices = bytesOfSeed(~seed, 256);
        Draw draw(vChoices, seed % 4 == 0);
        return call(*pOperation, scene, draw, folder, context);
    }
};

// Cancels at a step that the seed tells.
void runCancelled(const Job& job, std::uint64_t seed, const std::string& folder, unsigned numThreads, Soak& soak) {
    auto numSteps = static_cast<int>(seed / 6 % 40);
    Context context{.threads = numThreads};
    context.progress = [&](const QUOR_ZEF::ProgressStep&) { return numSteps-- > 0; };
    try {
        job.run(seed, folder, context);
    } catch (const QUOR_ZEF::CancelledError&) {
        ++soak.counts.numCancelled;
    }
}

void runOnce(std::uint64_t seed, const std::string& folder, Soak& soak) {
    constexpr unsigned threads[] = {2, 3, 8, 16};
    const Job job(seed);
    const unsigned numThreads = threads[seed % 4 ^ seed / 4 % 4];
    try {
        ++soak.counts.numCalls;
        if (seed % 6 == 5) return runCancelled(job, seed, folder, numThreads, soak);
        const Digest first = job.run(seed, folder, {.threads = numThreads});
        ++soak.counts.numCalls;
        if (job.run(seed, folder, {.threads = 1}) != first) soak.fault(seed, *job.pOperation, "differs on one thread");
    } catch (const std::exception& error) {
        soak.fault(seed, *job.pOperation, error.what());
    }
}

struct Memory {
    double residentMB = 0.0, usedMB = 0.0;
};

Memory memoryNow() {
    std::ifstream in("/proc/self/statm");
    std::uint64_t size = 0, resident = 0;
    in >> size >> resident;
    const double pageMB = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
    return {static_cast<double>(resident) * pageMB, static_cast<double>(mallinfo2().uordblks) / 1048576.0};
}

void tellMemory(std::uint64_t numRuns) {
    const Memory memory = memoryNow();
    std::printf("after %llu runs: %.1f MB resident, %.2f MB in use\n", static_cast<unsigned long long>(numRuns),
                memory.residentMB, memory.usedMB);
    std::fflush(stdout);
}

// The same thirty runs each time, so that nothing new is needed after the first.
void runGrowth(std::uint64_t numRuns, std::uint64_t firstSeed, Soak& soak) {
    const zef_test::Folder folder;
    for (std::uint64_t i = 0; i < numRuns; ++i) {
        runOnce(firstSeed + i % 30, folder.path.string(), soak);
        if (i % 30 == 29) tellMemory(i + 1);
    }
}

void runAll(std::uint64_t numRuns, std::uint64_t firstSeed, Soak& soak) {
    std::atomic<std::uint64_t> next = 0;
    const auto work = [&] {
        const zef_test::Folder folder;
        for (std::uint64_t i = next++; i < numRuns; i = next++) {
            runOnce(firstSeed + i, folder.path.string(), soak);
            if ((i + 1) % std::max<std::uint64_t>(numRuns / 5, 1) == 0) tellMemory(i + 1);
        }
    };
    std::vector<std::thread> vThreads;
    vThreads.reserve(4);
    for (int i = 0; i < 4; ++i) vThreads.emplace_back(work);
    for (std::thread& thread : vThreads) thread.join();
}

}  // namespace

int main(int argc, char** argv) {
    const bool bGrowth = argc > 1 && std::string_view(argv[argc - 1]) == "--growth";
    const int numNumbers = argc - (bGrowth ? 2 : 1);
    const std::uint64_t numRuns = numNumbers > 0 ? std::stoull(argv[1]) : 2000;
    const std::uint64_t firstSeed = numNumbers > 1 ? std::stoull(argv[2]) : 0;
    const auto start = std::chrono::steady_clock::now();
    Soak soak;
    (bGrowth ? runGrowth : runAll)(numRuns, firstSeed, soak);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%llu runs, %llu calls, %llu cancelled, %llu faults, %.0f s\n",
                static_cast<unsigned long long>(numRuns), static_cast<unsigned long long>(soak.counts.numCalls),
                static_cast<unsigned long long>(soak.counts.numCancelled),
                static_cast<unsigned long long>(soak.counts.numFaults), seconds);
    return soak.counts.numFaults == 0 ? 0 : 1;
}
