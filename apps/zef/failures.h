#pragma once

#include <stdexcept>

// How a command ends early; CommandRun and main turn them into the exit status.

enum ExitStatus {
    EXIT_DONE = 0,
    EXIT_COULD_NOT = 1,
    EXIT_USAGE = 2,
    EXIT_CANCELLED = 130,  // as shells report an interrupt
};

// Something is wrong with a file or with what it holds. what(): a sentence for
// the user, with the cure where there is one.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line asks for something that does not exist.
struct UsageFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
