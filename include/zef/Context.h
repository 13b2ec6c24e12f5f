#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "zef/export.h"

namespace QUOR_ZEF {

// How far a call is. The views die with the call of the function.
struct ProgressStep {
    std::string_view stage;  // what goes on, in a few words: "fitting planes"
    std::string_view tag;    // the stage's short name, which stays from release to release: "SM_run"
    double share = 0.0;      // of the whole call, 0 to 1; never falls, and ends at 1
};

enum class Severity : std::uint8_t {
    DETAIL,   // what only its developers understand
    WARNING,  // something was left out or is not as it should be; the call goes on
};

// The surroundings of one call. It is borrowed for the call only. Two calls with
// surroundings of their own may run at the same time; nothing that one of them does
// shows in the other.
//
// Both functions may throw: the exception leaves the call.
struct Context {
    // How many threads may work at the same time, the calling one included; 0: all that
    // the machine has. No result depends on it.
    unsigned threads = 0;
    // Called on the calling thread, when a stage begins, then up to about 200 times, and
    // every 50 milliseconds or so while a stage stands still; false cancels the call, which
    // then throws a CancelledError.
    std::function<bool(const ProgressStep&)> progress = {};
    // A line without an end. Called on any of the call's threads, by one at a time.
    // Without it the library is silent.
    std::function<void(Severity, std::string_view)> message = {};
};

}  // namespace QUOR_ZEF
