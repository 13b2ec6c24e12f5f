#include "reports/resources.h"

#include <sys/resource.h>

std::uint64_t peakBytes() {
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}
