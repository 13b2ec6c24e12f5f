#include "parallel/concurrency.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "frame/Run.h"
#include "parallel/TaskPool.h"
#include "zef/threads.h"

namespace QUOR_ZEF {

namespace {

std::atomic<unsigned> givenNumThreads = 0;  // 0: as many as the machine has

}  // namespace

unsigned getNumThreads() {
    const Run* const pRun = getRun();
    unsigned given = pRun ? pRun->numThreads() : 0;
    if (given == 0) given = givenNumThreads;
    return given != 0 ? std::min<unsigned>(given, TaskPool::maxWorkers) : std::thread::hardware_concurrency();
}

void setNumThreads(unsigned numThreads) {
    givenNumThreads = numThreads;
    getTaskPool().resize(static_cast<int>(getNumThreads()));
}

}  // namespace QUOR_ZEF
