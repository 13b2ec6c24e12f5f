#include "Interrupt.h"

#include <csignal>

#include "failures.h"

namespace {

volatile std::sig_atomic_t bInterrupted = 0;

void noteInterrupt(int) {
    bInterrupted = 1;
}

}  // namespace

void catchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = noteInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

void throwIfInterrupted() {
    if (bInterrupted) throw Cancelled();
}
