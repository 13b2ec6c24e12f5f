#include "reports/resources.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

namespace {

constexpr std::uint64_t unknown = std::numeric_limits<std::uint64_t>::max();

// The first number of a file; unknown if there is none, as where a limit is "max".
std::uint64_t numberIn(const char* path) {
    std::ifstream in(path);
    std::uint64_t number = 0;
    return in >> number ? number : unknown;
}

std::uint64_t availableBytes() {
    std::ifstream in("/proc/meminfo");
    for (std::string word; in >> word;) {
        std::uint64_t kilobytes = 0;
        if (word == "MemAvailable:" && in >> kilobytes) return 1024 * kilobytes;
    }
    return unknown;
}

// What the group of processes may take, as containers have it; the memory of files that it has read
// would be given back.
std::uint64_t bytesOfGroup() {
    const std::uint64_t limit = numberIn("/sys/fs/cgroup/memory.max");
    const std::uint64_t used = numberIn("/sys/fs/cgroup/memory.current");
    if (limit == unknown || used == unknown) return unknown;
    std::uint64_t cached = 0;
    std::ifstream in("/sys/fs/cgroup/memory.stat");
    for (std::string word; in >> word;)
        if (word == "inactive_file" && in >> cached) break;
    return limit - std::min(limit, used - std::min(used, cached));
}

std::uint64_t residentBytes() {
    std::ifstream in("/proc/self/statm");
    std::uint64_t all = 0, resident = 0;
    return in >> all >> resident ? resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace

std::uint64_t peakBytes() {
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::uint64_t usableBytes() {
    if (const char* const pTold = std::getenv("ZEF_USABLE_BYTES")) return std::strtoull(pTold, nullptr, 10);
    const std::uint64_t free = std::min(availableBytes(), bytesOfGroup()), most = ~std::uint64_t{0};
    return free + std::min(residentBytes(), most - free);
}
