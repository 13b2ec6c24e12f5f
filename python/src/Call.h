#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <string_view>

#include "zef/Context.h"

namespace zefpy {

// The surroundings of one call of the library, made of the arguments threads and
// progress. Made and destroyed with the interpreter's lock held; the library works
// without it. Signals are looked at where the library tells how far it is, so that Ctrl-C
// ends a call as it ends any Python code; messages go to the logger "zef".
class Call {
public:
    // Throws an ArgumentError that names the argument.
    Call(const pybind11::object& threads, const pybind11::object& progress_);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // fn(context), without the interpreter's lock.
    template <class Fn>
    auto run(const Fn& fn) {
        const pybind11::gil_scoped_release unlocked;
        return fn(static_cast<const QUOR_ZEF::Context&>(context));
    }

private:
    QUOR_ZEF::Context context;
    pybind11::object progress;  // callable or None
    pybind11::object logger;
    bool bDetails;  // somebody listens to them
    std::chrono::steady_clock::time_point lastLook;

    bool onProgress(const QUOR_ZEF::ProgressStep& step);
    void onMessage(QUOR_ZEF::Severity severity, std::string_view text) const;
};

}  // namespace zefpy
