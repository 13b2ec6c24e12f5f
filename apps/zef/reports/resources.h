#pragma once

#include <chrono>
#include <cstdint>

// Seconds since its making or since the last lap.
class Stopwatch {
public:
    double lap() {
        const Clock::time_point now = Clock::now();
        const std::chrono::duration<double> seconds = now - start;
        start = now;
        return seconds.count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
};

// The most memory that the process has held so far.
std::uint64_t peakBytes();

// What it holds and what it may take besides: of the machine, or of the container that it runs in. The environment's
// ZEF_USABLE_BYTES says otherwise. The largest number if nobody knows.
std::uint64_t usableBytes();
