#include "Interrupt.h"

#include <unistd.h>

#include <csignal>
#include <string_view>

#include "failures.h"

namespace {

volatile std::sig_atomic_t bHeld = 0, bTerminal = 0;

void tell(std::string_view text) {
    // There is nobody else to tell if it fails.
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) _exit(EXIT_CANCELLED);
}

// Nothing is on the disk yet, so nothing has to be cleaned up.
void endProcess(int) {
    if (bHeld) return;
    if (bTerminal) tell("\r\033[K");  // in place of the progress bar
    tell("zef: cancelled, nothing was written\n");
    _exit(EXIT_CANCELLED);
}

}  // namespace

void catchInterrupts() {
    bTerminal = isatty(STDERR_FILENO);
    struct sigaction action = {};
    action.sa_handler = endProcess;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

void holdInterrupts() {
    bHeld = 1;
}
