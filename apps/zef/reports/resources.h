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
