#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

// Runs this tool again in processes of their own, some at once. They hear of no interrupts from the terminal: who
// interrupts this process ends them.
class Workers {
public:
    struct Ended {
        std::size_t job = 0;
        std::string fault;  // how the process ended; empty if well
    };

    explicit Workers(std::size_t mostAtOnce_) : mostAtOnce(mostAtOnce_) {}
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    bool isFull() const { return vRunning.size() >= mostAtOnce; }
    bool isEmpty() const { return vRunning.empty(); }
    // arguments: behind the name of the tool. Its messages go to standard error, its report nowhere. Throws Failure if
    // it cannot be started.
    void start(std::size_t job, const std::vector<std::string>& arguments);
    // Waits for one of them.
    Ended waitForOne();

private:
    struct Running {
        pid_t process;
        std::size_t job;
    };
    std::size_t mostAtOnce;
    std::vector<Running> vRunning;
};
