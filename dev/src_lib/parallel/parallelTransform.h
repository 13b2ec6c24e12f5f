#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/Run.h"
#include "parallel/concurrency.h"

// Loops over chunks, by the calling thread and as many workers of the task pool as
// are idle. All of them return when every element is done. Below 2 elements, or with
// fewer than 2 threads, they run on the calling thread alone. fn is called from several
// threads at once, so it may write only what belongs to its own element or chunk. A loop
// or sort that fn starts is shared with those threads of the outer loop that have nothing
// left to do, and a thread that waits for such helpers works on what they start. A call costs
// some microseconds beyond its work.
//
// When fn throws, the elements before that one are still done, those behind it may be
// left out; the exception of the first element that throws leaves the loop after all
// threads have left fn. The workers belong to the Run of the calling thread meanwhile.

namespace QUOR_ZEF {

// *out++ = fn(element) for a slice of the input.
template <class In, class Out, class Fn>
struct TransformTask {
    typename std::vector<In>::const_iterator first, last;
    typename std::vector<Out>::iterator out;
    const Fn& fn;

    void operator()(int /*worker*/) {
        for (std::size_t i = 0; first != last; ++first) {
            pollRun(i++);
            *out++ = fn(*first);
        }
    }
};

// fn(element, out) writes n outputs for each element of a slice.
template <class In, class Out, class Fn>
struct TransformTask_N {
    typename std::vector<In>::const_iterator first, last;
    typename std::vector<Out>::iterator out;
    const Fn& fn;
    int n;

    void operator()(int /*worker*/) {
        for (std::size_t i = 0; first != last; ++first, out += n) {
            pollRun(i++);
            fn(*first, out);
        }
    }
};

// fn(element) for a slice.
template <class T, class Fn>
struct ForEachTask {
    typename std::vector<T>::const_iterator first, last;
    const Fn& fn;

    void operator()(int /*worker*/) {
        for (std::size_t i = 0; first != last; ++first) {
            pollRun(i++);
            fn(*first);
        }
    }
};

// The worker index of a calling thread.
inline constexpr int callingThread = -1;

// runTask(pTasks, i, worker) for all i below numTasks, handed out in ascending order to
// the calling thread and up to getNumThreads() - 1 workers. The exception of the lowest
// i that throws is thrown here, once, when nobody works on a task any more; tasks above
// it may be left out, those below it run. Fails in no other way: without memory or
// threads the calling thread does it all.
void shareTasks(std::size_t numTasks, void* pTasks, void (*runTask)(void* pTasks, std::size_t i, int worker));

// runTask(i, worker) for all i below numTasks; see there.
template <class RunTask>
void shareTasks(std::size_t numTasks, RunTask runTask) {
    shareTasks(numTasks, &runTask,
               [](void* pRunTask, std::size_t i, int worker) { (*static_cast<RunTask*>(pRunTask))(i, worker); });
}

// Runs the tasks, which take the worker index; see there.
template <class Task>
void runTasks(std::vector<Task>& vTasks) {
    shareTasks(vTasks.size(), [&](std::size_t i, int worker) { vTasks[i](worker); });
}

// The threads for a loop over n elements: 1 if it is to run on the calling thread, as
// inside a task of a loop all of whose threads are at work.
unsigned getLoopThreads(std::size_t n);

// Appends fn(element) for every element of vIn, in that order. fn takes a
// const In&. Out must be default-constructible and not bool. vIn must not be vOut.
template <class In, class Out, class Fn>
void parallelTransform(const std::vector<In>& vIn, std::vector<Out>& vOut, const Fn& fn) {
    const unsigned numThreads = getLoopThreads(vIn.size());
    if (numThreads < 2) {
        vOut.reserve(vOut.size() + vIn.size());
        for (std::size_t i = 0; i < vIn.size(); ++i) {
            pollRun(i);
            vOut.push_back(fn(vIn[i]));
        }
        return;
    }
    static_assert(!std::is_same_v<Out, bool>, "bits of one byte cannot be written by several threads");
    const std::size_t oldSize = vOut.size();
    vOut.resize(oldSize + vIn.size());
    std::vector<TransformTask<In, Out, Fn>> vTasks;
    const std::size_t chunk = std::max<std::size_t>(vIn.size() / (2 * std::size_t{numThreads}), 1);
    for (std::size_t i = 0; i < vIn.size(); i += chunk) {
        const std::size_t end = std::min(i + chunk, vIn.size());
        vTasks.push_back({vIn.begin() + std::ptrdiff_t(i), vIn.begin() + std::ptrdiff_t(end),
                          vOut.begin() + std::ptrdiff_t(oldSize + i), fn});
    }
    runTasks(vTasks);
}

// Appends n outputs per element, in the order of vIn: fn(element, out) has to
// write out[0] to out[n-1], where out is an iterator of std::vector<Out>.
template <class In, class Out, class Fn>
void parallelTransform_N(const std::vector<In>& vIn, std::vector<Out>& vOut, int n, const Fn& fn) {
    static_assert(!std::is_same_v<Out, bool>, "bits of one byte cannot be written by several threads");
    const unsigned numThreads = getLoopThreads(vIn.size());
    const std::size_t oldSize = vOut.size();
    const std::size_t width = static_cast<std::size_t>(n);
    vOut.resize(oldSize + vIn.size() * width);
    std::vector<TransformTask_N<In, Out, Fn>> vTasks;
    const std::size_t numChunks = numThreads < 2 ? 1 : 2 * std::size_t{numThreads};
    const std::size_t chunk = std::max<std::size_t>(vIn.size() / numChunks, 1);
    for (std::size_t i = 0; i < vIn.size(); i += chunk) {
        const std::size_t end = std::min(i + chunk, vIn.size());
        vTasks.push_back({vIn.begin() + std::ptrdiff_t(i), vIn.begin() + std::ptrdiff_t(end),
                          vOut.begin() + std::ptrdiff_t(oldSize + i * width), fn, n});
    }
    runTasks(vTasks);
}

// fn(element) for every element; fn takes a const T&.
template <class T, class Fn>
void parallelForEach(const std::vector<T>& vIn, const Fn& fn) {
    const unsigned numThreads = getLoopThreads(vIn.size());
    if (numThreads < 2) {
        for (std::size_t i = 0; i < vIn.size(); ++i) {
            pollRun(i);
            fn(vIn[i]);
        }
        return;
    }
    std::vector<ForEachTask<T, Fn>> vTasks;
    const std::size_t chunk = std::max<std::size_t>(vIn.size() / (2 * std::size_t{numThreads}), 1);
    for (std::size_t i = 0; i < vIn.size(); i += chunk) {
        const std::size_t end = std::min(i + chunk, vIn.size());
        vTasks.push_back({vIn.begin() + std::ptrdiff_t(i), vIn.begin() + std::ptrdiff_t(end), fn});
    }
    runTasks(vTasks);
}

// Where the chunks of 0..n begin, ascending, and n at the end: at most two
// chunks per thread, each of minChunk elements or more, or one chunk of all.
// Just n if n is 0. The cuts depend on the thread count.
std::vector<std::size_t> getChunkBounds(std::size_t n, std::size_t minChunk);

// fn(begin, end) for each chunk between neighbours of vBounds. Throws only what fn throws.
template <class Fn>
void parallelChunks(const std::vector<std::size_t>& vBounds, const Fn& fn) {
    shareTasks(vBounds.size() - 1, [&](std::size_t i, int /*worker*/) { fn(vBounds[i], vBounds[i + 1]); });
}

// fn(begin, end) for index ranges that tile 0..n, each of at least minChunk
// indices; a single chunk runs on the calling thread. Not called if n is 0.
// Results must not depend on where the cuts fall.
template <class Fn>
void parallelChunks(std::size_t n, std::size_t minChunk, const Fn& fn) {
    parallelChunks(getChunkBounds(n, minChunk), fn);
}

// Like parallelChunks, with what fn(begin, end) returns, ordered by begin.
// R must be default-constructible and not bool.
template <class R, class Fn>
std::vector<R> parallelChunkResults(std::size_t n, std::size_t minChunk, const Fn& fn) {
    static_assert(!std::is_same_v<R, bool>, "bits of one byte cannot be written by several threads");
    const std::vector<std::size_t> vBounds = getChunkBounds(n, minChunk);
    std::vector<R> vResults(vBounds.size() - 1);
    shareTasks(vResults.size(), [&](std::size_t i, int /*worker*/) { vResults[i] = fn(vBounds[i], vBounds[i + 1]); });
    return vResults;
}

}  // namespace QUOR_ZEF
