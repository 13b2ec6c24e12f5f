#pragma once

#include <chrono>

namespace QUOR_ZEF {

// Waits until done(), which may be called often, or for a while that is shorter than it takes to put a thread
// to sleep and wake it again. Returns what done() said last.
template <class Done>
bool spinUntil(const Done& done) {
    constexpr std::chrono::microseconds longest{20};
    constexpr int looksPerTime = 32;  // asking for the time takes as long as some looks
    const auto end = std::chrono::steady_clock::now() + longest;
    do {
        for (int look = 0; look < looksPerTime; ++look) {
            if (done()) return true;
#if defined(__x86_64__) || defined(__i386__)
            __builtin_ia32_pause();
#endif
        }
    } while (std::chrono::steady_clock::now() < end);
    return done();
}

}  // namespace QUOR_ZEF
