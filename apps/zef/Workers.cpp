#include "Workers.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include "Interrupt.h"
#include "failures.h"

namespace {

// What a process begins with, freed in any case.
struct SpawnSettings {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;

    SpawnSettings() {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_init(&attributes);
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGINT);
        posix_spawnattr_setsigmask(&attributes, &blocked);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
};

std::string faultOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status) == 0 ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
    const int signal = WTERMSIG(status);
    const std::string name = sigdescr_np(signal) ? sigdescr_np(signal) : "unknown";
    return "was ended by signal " + std::to_string(signal) + " (" + name + ")" +
           (signal == SIGKILL ? ", as where memory is short" : "");
}

}  // namespace

Workers::~Workers() {
    for (const Running& running : vRunning) {
        kill(running.process, SIGKILL);
        forgetChild(running.process);
        waitpid(running.process, nullptr, 0);
    }
}

void Workers::start(std::size_t job, const std::vector<std::string>& arguments) {
    std::vector<std::string> vWords = {"zef"};
    vWords.insert(vWords.end(), arguments.begin(), arguments.end());
    std::vector<char*> vPointers;
    vPointers.reserve(vWords.size() + 1);
    for (std::string& word : vWords) vPointers.push_back(word.data());
    vPointers.push_back(nullptr);
    const SpawnSettings settings;
    pid_t process = 0;
    const int code =
        posix_spawn(&process, "/proc/self/exe", &settings.actions, &settings.attributes, vPointers.data(), environ);
    if (code != 0) throw Failure("a process could not be started: " + std::generic_category().message(code));
    killWhenInterrupted(process);
    vRunning.push_back({process, job});
}

Workers::Ended Workers::waitForOne() {
    for (;;) {
        // Left as it is until it is forgotten, so that no interrupt meets another process of its number.
        siginfo_t info = {};
        if (waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) != 0) {
            if (errno == EINTR) continue;
            throw Failure("processes got lost: " + std::generic_category().message(errno));
        }
        const auto it = std::find_if(vRunning.begin(), vRunning.end(),
                                     [&](const Running& running) { return running.process == info.si_pid; });
        if (it == vRunning.end()) {
            waitpid(info.si_pid, nullptr, 0);  // left by whoever this process was before
            continue;
        }
        const Running ended = *it;
        vRunning.erase(it);
        forgetChild(ended.process);
        int status = 0;
        while (waitpid(ended.process, &status, 0) < 0 && errno == EINTR) {
        }
        return {ended.job, faultOf(status)};
    }
}
