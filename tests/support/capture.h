#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "zef/exceptions.h"

namespace zef_test {

// Takes standard output, as std::cout writes it, for the time of its life.
// One at a time, and while no other thread prints.
class CaptureCout {
public:
    CaptureCout() : pOld(std::cout.rdbuf(buffer.rdbuf())) {}
    ~CaptureCout() { std::cout.rdbuf(pOld); }
    CaptureCout(const CaptureCout&) = delete;
    CaptureCout& operator=(const CaptureCout&) = delete;

    std::string text() const { return buffer.str(); }

private:
    std::ostringstream buffer;
    std::streambuf* pOld;  // not owned
};

// What fn printed.
template <class Fn>
std::string printedText(Fn&& fn) {
    const CaptureCout capture;
    fn();
    return capture.text();
}

// What fn printed before it threw an Exception. Fails the test if it did not.
template <class Exception = QUOR_ZEF::ZefBugException, class Fn>
std::string failureText(Fn&& fn) {
    const CaptureCout capture;
    try {
        fn();
    } catch (const Exception&) {
        return capture.text();
    }
    ADD_FAILURE() << "expected an exception; printed was: " << capture.text();
    return {};
}

// True if the failing fn printed exactly this asserted condition.
template <class Fn>
testing::AssertionResult failsWith(const std::string& condition, Fn&& fn) {
    const std::string text = failureText(fn);
    if (text.find("Condition [ " + condition + " failed ]") != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "no \"" << condition << "\" in: " << text;
}

}  // namespace zef_test
