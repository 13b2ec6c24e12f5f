#include "errors.h"

#include <pybind11/pybind11.h>

#include <exception>

#include "options.h"

namespace py = pybind11;

namespace zefpy {

namespace {

[[noreturn]] void raise(const char* name, const char* text) {
    PyErr_SetString(py::module_::import("zef._errors").attr(name).ptr(), inPythonWords(text).c_str());
    throw py::error_already_set();
}

void translate(std::exception_ptr pFailure) {
    try {
        std::rethrow_exception(std::move(pFailure));
    } catch (const WrongType& failure) {
        raise("ArgumentTypeError", failure.what());
    } catch (const zef::ArgumentError& failure) {
        raise("ArgumentError", failure.what());
    } catch (const zef::NoSurfaceError& failure) {
        raise("NoSurfaceError", failure.what());
    } catch (const zef::FileError& failure) {
        raise("FileError", failure.what());
    } catch (const zef::TooLargeError& failure) {
        raise("TooLargeError", failure.what());
    } catch (const zef::CancelledError& failure) {
        raise("CancelledError", failure.what());
    } catch (const zef::LicenseError& failure) {
        raise("LicenseError", failure.what());
    } catch (const zef::InternalError& failure) {
        raise("InternalError", failure.what());
    } catch (const zef::Error& failure) {
        raise("Error", failure.what());
    }
}

}  // namespace

void translateErrors() {
    py::register_exception_translator([](std::exception_ptr pFailure) {
        try {
            translate(std::move(pFailure));
        } catch (py::error_already_set& raised) {
            raised.restore();
        }
    });
}

}  // namespace zefpy
