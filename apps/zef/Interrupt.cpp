#include "Interrupt.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>

#include "failures.h"

namespace {

volatile std::sig_atomic_t bHeld = 0, bTerminal = 0;

void tell(std::string_view text) {
    // There is nobody else to tell if it fails.
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) _exit(EXIT_CANCELLED);
}

// For a signal's handler, which can neither lock nor allocate.
constexpr std::size_t maxFiles = 8;
std::array<char, PATH_MAX> folderToRemove{};
std::array<std::array<char, PATH_MAX>, maxFiles> filesToRemove{};

constexpr std::size_t maxChildren = 1024;
std::array<volatile pid_t, maxChildren> childrenToKill{};
const char* volatile pLastLine = "zef: cancelled, nothing was written\n";

void replaceChild(pid_t from, pid_t to) {
    for (volatile pid_t& child : childrenToKill) {
        if (child != from) continue;
        child = to;
        return;
    }
}

void keepName(const std::string& name, std::array<char, PATH_MAX>& place) {
    if (name.size() < place.size()) std::memcpy(place.data(), name.c_str(), name.size() + 1);
}

// Nothing else is on the disk yet.
void removeFiles() {
    for (const auto& file : filesToRemove)
        if (file[0] != 0) unlink(file.data());
    if (folderToRemove[0] != 0) rmdir(folderToRemove.data());
}

void endProcess(int) {
    if (bHeld) return;
    for (const pid_t child : childrenToKill)
        if (child > 0) kill(child, SIGKILL);
    removeFiles();
    if (bTerminal) tell("\r\033[K");  // in place of the progress bar
    tell(pLastLine);
    _exit(EXIT_CANCELLED);
}

// Destructors of what others have written allocate, and where nothing can be allocated any more they end here.
void endUnhandled() {
    try {
        if (const std::exception_ptr pError = std::current_exception()) std::rethrow_exception(pError);
    } catch (const std::bad_alloc&) {
        removeFiles();
        tell("zef: not enough memory\n");
        _exit(EXIT_COULD_NOT);
    } catch (...) {  // a bug, which keeps its core
    }
    std::abort();
}

}  // namespace

void catchInterrupts() {
    std::set_terminate(endUnhandled);
    bTerminal = isatty(STDERR_FILENO);
    struct sigaction action = {};
    action.sa_handler = endProcess;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction before = {};
        // As under nohup, and in the background of scripts.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) continue;
        sigaction(signal, &action, nullptr);
    }
}

void removeWhenInterrupted(const std::string& file, const std::string& folder) {
    keepName(folder, folderToRemove);
    const auto isFree = [](const auto& place) { return place[0] == 0; };
    const auto it = std::find_if(filesToRemove.begin(), filesToRemove.end(), isFree);
    if (it != filesToRemove.end()) keepName(file, *it);
}

void killWhenInterrupted(pid_t child) {
    replaceChild(0, child);
}

void forgetChild(pid_t child) {
    replaceChild(child, 0);
}

void sayWhenInterrupted(const char* line) {
    pLastLine = line;
}

void holdInterrupts() {
    bHeld = 1;
}
