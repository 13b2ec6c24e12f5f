#include "Call.h"

#include <string>

#include "errors.h"
#include "options.h"

namespace py = pybind11;

namespace zefpy {

namespace {

constexpr int debugLevel = 10, warningLevel = 30;  // of the module logging

}  // namespace

Call::Call(const py::object& threads, const py::object& progress_) : progress(progress_) {
    readArgument({"threads", &context.threads, ""}, threads);
    if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
        throw WrongType("progress must be None, or a function of the stage, a text, and the share done, 0 to 1");
    logger = py::module_::import("logging").attr("getLogger")("zef");
    bDetails = logger.attr("isEnabledFor")(debugLevel).cast<bool>();
    context.progress = [this](const zef::ProgressStep& step) { return onProgress(step); };
    context.message = [this](zef::Severity severity, std::string_view text) { onMessage(severity, text); };
}

bool Call::onProgress(const zef::ProgressStep& step) {
    constexpr std::chrono::milliseconds betweenLooks{10};
    const auto now = std::chrono::steady_clock::now();
    if (progress.is_none() && now - lastLook < betweenLooks) return true;
    lastLook = now;
    const py::gil_scoped_acquire locked;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    if (progress.is_none()) return true;
    const py::object answer = progress(py::str(step.stage.data(), step.stage.size()), step.share);
    return answer.ptr() != Py_False;
}

void Call::onMessage(zef::Severity severity, std::string_view text) const {
    const bool bDetail = severity == zef::Severity::DETAIL;
    if (bDetail && !bDetails) return;
    const std::string words = inPythonWords(std::string(text));
    const py::gil_scoped_acquire locked;
    logger.attr("log")(bDetail ? debugLevel : warningLevel, "%s", words);
}

}  // namespace zefpy
