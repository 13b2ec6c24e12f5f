#pragma once

#include <atomic>

namespace QUOR_ZEF {

// A number of the process: whoever offers first settles it, for all threads,
// until it is reset.
class FirstValue {
public:
    // The settled value; offered becomes it if there is none. offered must be a
    // number above 0.
    double offer(double offered) {
        double settled = value.load(std::memory_order_relaxed);
        if (settled > 0.0) return settled;
        settled = 0.0;
        return value.compare_exchange_strong(settled, offered) ? offered : settled;
    }
    void reset() { value = 0.0; }

private:
    std::atomic<double> value{0.0};  // 0: not settled
};

}  // namespace QUOR_ZEF
